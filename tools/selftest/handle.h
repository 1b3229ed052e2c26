/// Owning what the system hands out, and reporting what it refuses.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include "tools/selftest/text.h"
#include "tools/windows/handle.h"

namespace zor::selftest {

using UniqueHandle = windows::OwnedHandle;

/// A check cannot look without this.
[[noreturn]] inline void ThrowLastError(const char* what) {
  const DWORD error = GetLastError();
  throw std::runtime_error(Text(what, " failed with error ", error));
}

/// Owns a handle that must be there.
[[nodiscard]] inline UniqueHandle Require(HANDLE handle, const char* what) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) ThrowLastError(what);
  return UniqueHandle(handle);
}

/// How long a check waits for what must come. Longer than any machine needs.
inline constexpr DWORD kPatienceMs = 60'000;

/// How long something must not have happened, to be told as waiting. Waited in full where the
/// answer is "waits": the system gives no event for what does not happen.
inline constexpr DWORD kWaitingMs = 1'500;

/// A manual-reset event, not set.
class Event {
 public:
  void Set() const noexcept { SetEvent(handle_.get()); }
  void Reset() const noexcept { ResetEvent(handle_.get()); }
  [[nodiscard]] bool IsSetWithin(DWORD milliseconds) const noexcept {
    return WaitForSingleObject(handle_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  /// Throws when it is never set.
  void Await(const char* what) const {
    if (!IsSetWithin(kPatienceMs)) throw std::runtime_error(Text(what, " does not come"));
  }
  [[nodiscard]] HANDLE get() const noexcept { return handle_.get(); }

 private:
  UniqueHandle handle_ = Require(CreateEventW(nullptr, TRUE, FALSE, nullptr), "CreateEvent");
};

}  // namespace zor::selftest
