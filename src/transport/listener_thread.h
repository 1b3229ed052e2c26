/// The background thread as a thread object with the standard's checks.
#pragma once

namespace zor::platform {
struct Thread;
}

namespace zor {

/// A started thread that must be joined once. Not std::thread, whose threads keep the library that
/// started them from ever being unloaded.
class ListenerThread {
 public:
  /// Runs `routine(argument)`. Throws std::system_error with resource_unavailable_try_again when
  /// there is no thread to be had.
  ListenerThread(void (*routine)(void*), void* argument);
  ListenerThread(const ListenerThread&) = delete;
  ListenerThread& operator=(const ListenerThread&) = delete;
  ~ListenerThread() = default;

  /// Waits until the routine has returned. Throws std::system_error: invalid_argument when already
  /// joined, resource_deadlock_would_occur on the thread itself, no_such_process when the system
  /// cannot wait for it.
  void Join();

 private:
  platform::Thread* thread_;
};

}  // namespace zor
