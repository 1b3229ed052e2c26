/// What code that runs on a thread may change of it.
#pragma once

#include <windows.h>

namespace zor::platform {

/// Puts the calling thread's priority, affinity and token back at its end. A thread pool demands
/// its thread back as it was; Windows raises an exception on it otherwise.
class ThreadStateKeeper {
 public:
  ThreadStateKeeper() noexcept
      : priority_(GetThreadPriority(GetCurrentThread())),
        has_affinity_(GetThreadGroupAffinity(GetCurrentThread(), &affinity_) != FALSE) {}
  ThreadStateKeeper(const ThreadStateKeeper&) = delete;
  ThreadStateKeeper& operator=(const ThreadStateKeeper&) = delete;

  ~ThreadStateKeeper() {
    // A pool's thread begins without a token of its own.
    SetThreadToken(nullptr, nullptr);
    if (has_affinity_) SetThreadGroupAffinity(GetCurrentThread(), &affinity_, nullptr);
    // Fails unless the thread is in background mode, out of which the next call would not bring it.
    SetThreadPriority(GetCurrentThread(), THREAD_MODE_BACKGROUND_END);
    if (priority_ != THREAD_PRIORITY_ERROR_RETURN) SetThreadPriority(GetCurrentThread(), priority_);
  }

 private:
  int priority_;
  GROUP_AFFINITY affinity_{};
  bool has_affinity_;  // after affinity_, which it fills
};

}  // namespace zor::platform
