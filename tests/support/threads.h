/// The scripted background thread: platform/thread.h, with time in the test's hands.
///
/// The thread is a real one, but it pauses in no real time: a pause lasts until the test, or the
/// join, ends it. There is one at a time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

#include "platform/thread.h"

namespace zor::scripted {

class Threads {
 public:
  /// When a started thread begins with its routine.
  enum class Begin : std::uint8_t {
    kAtOnce,
    kNever,   ///< it is called off by the join
    kAtJoin,  ///< just as the join comes
  };

  void Reset();

  /// For threads that are started from now on.
  void SetBegin(Begin begin);

  /// Pauses last no time, and the test does not step through them.
  void RunFreely();
  /// The same for a listener that a test runs on its own thread: no other thread needs its time.
  void RunAlone();

  /// Waits until the thread pauses: the length of the pause; nothing when it has ended instead.
  [[nodiscard]] std::optional<std::uint32_t> WaitForPause();

  /// Ends the pause, if the thread is in one.
  void EndPause();

  /// Both: ends the pause and waits for the next.
  [[nodiscard]] std::optional<std::uint32_t> RunToPause();

  /// Waits until somebody joins the thread.
  void WaitForJoin();

  // The functions of platform/thread.h.

  [[nodiscard]] platform::Thread* Start(void (*routine)(void*), void* argument);
  [[nodiscard]] bool Join(platform::Thread* thread);
  void Sleep(std::uint32_t milliseconds);

 private:
  using Lock = std::unique_lock<std::mutex>;
  std::optional<std::uint32_t> WaitForPause(Lock& lock);
  void Run(platform::Thread& thread);
  template <typename Condition>
  void Wait(Lock& lock, Condition condition);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Begin begin_ = Begin::kAtOnce;
  bool free_ = false;
  bool alone_ = false;
  bool joining_ = false;
  bool ended_ = false;
  std::optional<std::uint32_t> pause_;  ///< the one that the thread is in
};

[[nodiscard]] Threads& TheThreads();

}  // namespace zor::scripted
