/// How a running server is told to stop, and how it tells that it is ready.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace zor::sim {

/// Set by Ctrl-C, by the console's closing, by the user's logging off and, once it is announced, by
/// another process's StopRunningServer(). One at a time in a process.
class StopSignal {
 public:
  StopSignal();
  /// A console that is closing may now end the process.
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Makes this process the one that StopRunningServer() stops. Only for a server that holds the
  /// pipes: another one may be announced otherwise.
  void Announce();

  void Set();
  void Wait();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

enum class StopOutcome : unsigned char { kStopped, kNoneRunning, kStillRunning, kFailed };

/// Tells the server of this session that has a StopSignal to stop, and waits for its process to
/// end.
[[nodiscard]] StopOutcome StopRunningServer(std::chrono::milliseconds patience);

/// Sets the event of this name, which is made if it does not exist. Keeps it until the process
/// ends, so that a waiter may come later.
[[nodiscard]] bool SetNamedEvent(const std::string& name);

}  // namespace zor::sim
