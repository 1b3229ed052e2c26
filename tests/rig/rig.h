/// What the cases of tests/behaviour run on: the library, its servers, the machine and the debug
/// log. There are two, chosen when a program is linked: the library on the scripted platform, and
/// the built library on real pipes. Each wait ends as tests/kit/patience.h says, and throws when it
/// was for nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/kit/captured_log.h"
#include "tests/kit/exports.h"
#include "tests/kit/messages.h"

namespace zor::rig {

using testing::Bytes;
using testing::Notification;
using testing::Reply;

/// The system as new, its debug log captured. A test's first member, and one at a time.
class Rig {
 public:
  Rig();
  Rig(const Rig&) = delete;
  Rig& operator=(const Rig&) = delete;
  ~Rig();

  [[nodiscard]] testing::CapturedLog& log();

  /// How many ends of pipes the library has opened and not closed, in use or abandoned.
  [[nodiscard]] std::size_t PipeEnds() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The library, loaded.
class Library {
 public:
  Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  [[nodiscard]] const testing::Exports* operator->() const { return &exports(); }
  [[nodiscard]] const testing::Exports& exports() const;
  void Unload();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The request pipe's server, for as long as it lives. It records every request, and answers each
/// with what the test has queued, or else with a plain success.
class RequestServer {
 public:
  RequestServer();
  RequestServer(const RequestServer&) = delete;
  RequestServer& operator=(const RequestServer&) = delete;
  ~RequestServer();

  /// The next unanswered request gets these messages.
  void Answer(std::vector<Bytes> messages);
  void Answer(Bytes message) { Answer(std::vector<Bytes>{std::move(message)}); }
  void Answer(const Reply& reply) { Answer(Build(reply)); }
  /// The next unanswered request is read, and the connection ended.
  void HangUp();

  [[nodiscard]] std::vector<Bytes> Requests() const;
  /// How many clients have connected.
  [[nodiscard]] int connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The notification pipe's server, for as long as it lives, with one client.
class NotifyServer {
 public:
  NotifyServer();
  NotifyServer(const NotifyServer&) = delete;
  NotifyServer& operator=(const NotifyServer&) = delete;
  ~NotifyServer();

  void WaitForClient();
  void Send(const Bytes& message);
  void Send(const Notification& notification) { Send(Build(notification)); }
  /// Ends the connection; what the client has not read is lost. WaitForClient() waits for the next.
  void Disconnect();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

enum class Pipe : bool { kRequests, kNotifications };

/// A pipe whose server is there but has no room for a client.
class BusyPipe {
 public:
  explicit BusyPipe(Pipe pipe);
  BusyPipe(const BusyPipe&) = delete;
  BusyPipe& operator=(const BusyPipe&) = delete;
  ~BusyPipe();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// What an algorithm library does when the library under test asks it.
enum class Algorithm : std::uint8_t { kAnswers, kRefuses, kWithoutEntry, kDoesNotLoad };

/// What the library finds on the machine, for as long as this object lives: a driver store that is
/// empty at first, and no driver. COM is initialised on the test's thread.
class Machine {
 public:
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  /// A driver of this version, as the management service reports it.
  void InstallDriver(const std::wstring& version, const std::wstring& hardware_id = kHardwareId);
  void RemoveDrivers();

  /// A package of the driver store whose INF file holds exactly these bytes: its folder.
  std::wstring AddPackage(const std::wstring& name, std::string_view inf);
  /// The same with an INF file that states this version.
  std::wstring AddPackageOfVersion(const std::wstring& name, const std::string& version);
  /// Puts an algorithm library into a package.
  void AddLibrary(const std::wstring& package, const std::wstring& file,
                  Algorithm algorithm = Algorithm::kAnswers);

  void RemoveStore();
  void RemoveSystemRoot();

  /// Whether the driver has been asked for since the last time.
  [[nodiscard]] bool WasAsked();
  /// The folder that the process has added to its search for libraries.
  [[nodiscard]] std::wstring LibraryDirectory() const;

  static constexpr const wchar_t* kHardwareId = L"SWC\\VEN_ZOR&CID_APO";

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zor::rig
