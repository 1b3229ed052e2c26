/// What doctor has seen, without a judgement. Texts are UTF-8.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "discovery/driver_version.h"
#include "discovery/search_observer.h"
#include "interface/zor_interface.h"
#include "tools/zorctl/outcome.h"
#include "tools/zorctl/pipe_check.h"

namespace zor::ctl {

/// The system's error: its number and its words.
struct SystemError {
  std::uint32_t number = 0;
  std::string text = {};
};

/// How the child process ended that looked at something.
struct ProbeEnd {
  enum class How : std::uint8_t { kReported, kEnded, kTimedOut, kNotStarted, kNoTime };

  How how = How::kReported;
  std::uint32_t status = 0;    ///< of kEnded, without a report; of kNotStarted the system's error
  std::uint32_t limit_ms = 0;  ///< of kTimedOut
  std::string step = {};       ///< the last thing that it began; empty when it began nothing

  [[nodiscard]] bool ok() const noexcept { return how == How::kReported; }
};

/// This process.
struct ProcessFacts {
  std::string user = {};
  std::uint32_t session = 0;
  bool elevated = false;
  std::string system = {};  ///< "Windows 10.0.19045"
};

/// A library that another one needs and that cannot be loaded.
struct MissingImport {
  std::string name = {};
  std::string needed_by = {};
  std::string reason = {};  ///< "is missing", "is for 32-bit x86"
};

/// The file of a program or a library, by its header.
struct ImageFacts {
  enum class State : std::uint8_t {
    kSound,
    kMissing,
    kFolder,
    kUnreadable,
    kNotAnImage,
    kTruncated,
    kOtherMachine
  };

  State state = State::kSound;
  SystemError error = {};    ///< of kUnreadable
  std::string machine = {};  ///< of kOtherMachine: "32-bit x86"
  std::vector<MissingImport> missing = {};
};

struct LibraryFacts {
  std::string path = {};
  std::string version = {};
  std::string error = {};  ///< why it could not be loaded; empty when it was
  bool missing = false;    ///< there is no such file
  ImageFacts image = {};
  ProbeEnd end = {};
};

struct PipeFacts {
  PipeState state = PipeState::kUnknown;
  SystemError error = {};  ///< for kUnknown
  bool is_open = false;    ///< it was opened, so that the rest is known
  bool messages = true;    ///< it carries messages, not bytes
  std::uint32_t process = 0;
  std::uint32_t session = 0;
  std::string image = {};  ///< the server's program; empty when it cannot be read
  std::string user = {};   ///< whom the server runs as; empty when it cannot be read
  ProbeEnd end = {};
};

/// One request that doctor itself has sent, and what came back.
struct ExchangeFacts {
  enum class State : std::uint8_t { kReplied, kOpenFailed, kWriteFailed, kReadFailed, kTooLong };

  State state = State::kReplied;
  SystemError error = {};
  std::uint32_t milliseconds = 0;
  std::uint32_t size = 0;                ///< of the reply
  std::vector<std::uint8_t> start = {};  ///< its first bytes
  bool valid = false;                    ///< it is a message; else the rest is not known
  std::uint32_t result = 0;
  std::array<std::uint32_t, 4> information{};
  std::uint32_t count = 0;              ///< how many names the reply claims
  std::vector<std::string> names = {};  ///< those that it holds
  ProbeEnd end = {};
};

/// A call that was made through the library.
struct CallFacts {
  ZorResult result = ZOR_SUCCESS;
  std::string exception = {};  ///< what the library has thrown; empty when it returned
  std::uint32_t milliseconds = 0;
  NameList names = {};                  ///< of a list
  std::vector<std::string> lines = {};  ///< what the library has written to its debug log
  ProbeEnd end = {};
};

struct DriverFacts {
  std::optional<QueryStep> failed = {};
  std::uint32_t result = 0;
  std::string result_text = {};  ///< the system's words for it
  std::uint32_t rows = 0;
  std::string version_text = {};
  std::optional<VersionQuad> version = {};  ///< none when the text is no version
  ProbeEnd end = {};
};

struct StoreFacts {
  std::string directory = {};  ///< empty when the system root is not known
  std::string error = {};      ///< why it could not be listed; empty when it was
  ProbeEnd end = {};
};

struct CandidateFacts {
  std::string folder = {};
  bool examined = false;  ///< the search has looked at it
  std::string inf = {};
  bool opened = false;
  bool is_utf16 = false;
  std::string version_line = {};
  std::optional<VersionQuad> version = {};
  std::string error = {};  ///< the library's search ends at this candidate, for this reason
};

/// The choice of the library's own search.
struct PackageFacts {
  std::string path = {};  ///< empty when no candidate was chosen
  bool exact = false;
  std::string error = {};  ///< why the search ended; empty when it did not
};

struct AlgorithmLibraryFacts {
  std::string file = {};
  LibraryQuery query = {};
  std::string error_text = {};               ///< the system's words for the query's error
  std::vector<std::string> names = {};       ///< of the catalogue; none for one that failed
  std::vector<std::string> stands_for = {};  ///< what its names would be if it answered
  ImageFacts image = {};                     ///< looked at when it does not load
  ProbeEnd end = {};
};

struct PackageContents {
  std::vector<AlgorithmLibraryFacts> libraries = {};
  std::string error = {};  ///< why the package could not be listed; empty when it was
  ProbeEnd end = {};
};

/// What the library's search finds on this machine. What it would not look at is absent.
struct MachineFacts {
  DriverFacts driver;
  StoreFacts store;
  std::vector<CandidateFacts> candidates = {};
  std::optional<PackageFacts> package = {};
  std::optional<PackageContents> contents = {};

  /// The names of the libraries that answer, in the library's order.
  [[nodiscard]] std::vector<std::string> LocalNames() const;
};

/// The server, by doctor's own requests, and by calls of the library. What was not done, because
/// what it needs has failed, is absent.
struct ServerFacts {
  std::optional<ExchangeFacts> information = {};
  std::optional<CallFacts> information_call = {};
  std::optional<ExchangeFacts> list = {};
  std::optional<CallFacts> list_call = {};  ///< made when the exchange failed
  std::optional<CallFacts> merged = {};
};

struct Facts {
  std::optional<ProcessFacts> process = {};
  LibraryFacts library;
  PipeFacts request_pipe;
  PipeFacts notify_pipe;
  std::uint32_t com_result = 0;
  MachineFacts machine;
  ServerFacts server;
};

}  // namespace zor::ctl
