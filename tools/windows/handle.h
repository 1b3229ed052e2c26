/// Owning what the system hands out, and reporting what it refuses: for all programs around the
/// library.
#pragma once

#include <windows.h>

#include <memory>
#include <system_error>

namespace zor::windows {

struct HandleCloser {
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Empty for both of the values that the system uses for "no handle", when made by Own().
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

[[nodiscard]] inline OwnedHandle Own(HANDLE handle) noexcept {
  return OwnedHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

/// Throws the thread's last error as std::system_error.
[[noreturn]] inline void ThrowLastError(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

/// As Own(), for a handle that must be there.
[[nodiscard]] inline OwnedHandle Require(HANDLE handle, const char* what) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) ThrowLastError(what);
  return OwnedHandle(handle);
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
  OwnedHandle handle_;
};

}  // namespace zor::windows
