/// A kernel handle and its owner.
#pragma once

#include <windows.h>

#include <memory>
#include <system_error>
#include <type_traits>

namespace zor::ctl {

struct HandleCloser {
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

using OwnedHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

/// Throws the thread's last error.
[[noreturn]] inline void ThrowLastError(const char* doing) {
  const auto error = static_cast<int>(GetLastError());
  throw std::system_error(error, std::system_category(), doing);
}

}  // namespace zor::ctl
