/// Owners of system handles.
#pragma once

#include <windows.h>

#include <utility>

namespace zor::sim {

/// Owns a handle that CloseHandle closes; null and INVALID_HANDLE_VALUE are both "none".
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { Close(); }

  void Close() noexcept {
    if (handle_ != nullptr) CloseHandle(std::exchange(handle_, nullptr));
  }
  [[nodiscard]] HANDLE get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  HANDLE handle_ = nullptr;
};

/// An event that stays set until it is reset. Throws std::system_error when there is none to have.
[[nodiscard]] Handle MakeEvent();

[[nodiscard]] inline bool IsSet(HANDLE event) {
  return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

}  // namespace zor::sim
