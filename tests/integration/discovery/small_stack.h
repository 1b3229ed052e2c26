/// Work on a thread that has little stack.
#pragma once

#include <malloc.h>
#include <windows.h>

#include <cstddef>
#include <functional>

namespace zor::testing {

inline constexpr std::size_t kSmallStack = std::size_t{64} * 1024;

/// Runs `work` on a thread with 64 KiB of stack. Wine gives every thread a megabyte or more: the
/// thread uses up what is too much.
inline bool RunOnSmallStack(const std::function<void()>& work) {
  const auto run = [](void* argument) -> DWORD {
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    const auto here = reinterpret_cast<ULONG_PTR>(&low);
    if (here - low > kSmallStack)
      *static_cast<volatile char*>(_alloca(here - low - kSmallStack)) = 0;
    (*static_cast<const std::function<void()>*>(argument))();
    return 0;
  };
  const HANDLE thread =
      CreateThread(nullptr, kSmallStack, run, const_cast<std::function<void()>*>(&work),
                   STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (thread == nullptr) return false;
  const bool ended = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
  CloseHandle(thread);
  return ended;
}

}  // namespace zor::testing
