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

struct LibraryFacts {
  std::string path;
  std::string version;
  std::string error;     ///< why it could not be loaded; empty when it was
  bool missing = false;  ///< there is no such file
};

struct DriverFacts {
  std::optional<QueryStep> failed = {};
  std::uint32_t result = 0;
  std::uint32_t rows = 0;
  std::string version_text;
  std::optional<VersionQuad> version;  ///< none when the text is no version
};

struct StoreFacts {
  std::string directory;  ///< empty when the system root is not known
  std::string error;      ///< why it could not be listed; empty when it was
};

struct CandidateFacts {
  std::string folder;
  bool examined = false;  ///< the search has looked at it
  std::string inf;
  bool opened = false;
  bool is_utf16 = false;
  std::string version_line;
  std::optional<VersionQuad> version;
  std::string error;  ///< the library's search ends at this candidate, for this reason
};

/// The choice of the library's own search.
struct PackageFacts {
  std::string path;  ///< empty when no candidate was chosen
  bool exact = false;
  std::string error;  ///< why the search ended; empty when it did not
};

struct AlgorithmLibraryFacts {
  std::string file;
  LibraryQuery query;
  std::vector<std::string> names;  ///< of the catalogue, for this file name
};

struct PackageContents {
  std::vector<AlgorithmLibraryFacts> libraries;
  std::string error;  ///< why the package could not be listed; empty when it was
};

/// What the library's search finds on this machine. What it would not look at is absent.
struct MachineFacts {
  DriverFacts driver;
  StoreFacts store;
  std::vector<CandidateFacts> candidates;
  std::optional<PackageFacts> package;
  std::optional<PackageContents> contents;

  /// The names of the libraries that answer, in the library's order.
  [[nodiscard]] std::vector<std::string> LocalNames() const;
};

struct ServerFacts {
  ZorResult information_result = ZOR_SUCCESS;
  std::array<std::uint32_t, 4> information{};
  ZorResult list_result = ZOR_SUCCESS;
  std::vector<std::string> names;  ///< its own list of algorithms
  ZorResult merged_result = ZOR_SUCCESS;
  NameList merged;  ///< what an application gets
};

struct Facts {
  LibraryFacts library;
  PipeCheck request_pipe;
  PipeCheck notify_pipe;
  std::uint32_t com_result = 0;
  MachineFacts machine;
  std::optional<ServerFacts> server;  ///< absent without a library or a request pipe
};

}  // namespace zor::ctl
