/// Owning a kernel handle, and reporting what the system refuses.
#pragma once

#include <windows.h>

#include <memory>
#include <system_error>

#include "tests/kit/patience.h"

namespace zor::testing {

struct HandleCloser {
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Empty for both of the values that the system uses for "no handle".
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

[[nodiscard]] inline UniqueHandle Own(HANDLE handle) noexcept {
  return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

[[noreturn]] inline void ThrowLastError(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

/// As Own(), for a handle that must be there.
[[nodiscard]] inline UniqueHandle Require(HANDLE handle, const char* what) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) ThrowLastError(what);
  return UniqueHandle(handle);
}

/// A manual-reset event, not set.
class Event {
 public:
  Event() : handle_(Require(CreateEventW(nullptr, TRUE, FALSE, nullptr), "CreateEvent")) {}

  void Set() const noexcept { SetEvent(handle_.get()); }
  void Reset() const noexcept { ResetEvent(handle_.get()); }
  [[nodiscard]] bool IsSet() const noexcept { return WaitMs(0); }
  [[nodiscard]] bool WaitMs(DWORD milliseconds) const noexcept {
    return WaitForSingleObject(handle_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  [[nodiscard]] HANDLE get() const noexcept { return handle_.get(); }

 private:
  UniqueHandle handle_;
};

/// How long a test waits while nothing moves, for the system's functions.
inline const DWORD kPatienceMs = static_cast<DWORD>(kPatience.count());

}  // namespace zor::testing
