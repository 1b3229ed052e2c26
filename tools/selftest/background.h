/// A thread of the system's own kind, not the runtime's: it keeps nothing for the next one.
#pragma once

#include <windows.h>

#include <functional>
#include <utility>

#include "tools/selftest/handle.h"

namespace zor::selftest {

/// Runs a routine on another thread, and waits for it at its end.
class Background {
 public:
  explicit Background(std::function<void()> routine)
      : routine_(std::move(routine)),
        thread_(Require(CreateThread(nullptr, 0, Main, this, 0, nullptr), "CreateThread")) {}
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
  ~Background() { WaitForSingleObject(thread_.get(), kPatienceMs); }

  [[nodiscard]] bool EndsWithin(DWORD milliseconds) const noexcept {
    return WaitForSingleObject(thread_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  void Await(const char* what) const {
    if (!EndsWithin(kPatienceMs)) throw std::runtime_error(Text(what, " does not end"));
  }

  [[nodiscard]] HANDLE handle() const noexcept { return thread_.get(); }

 private:
  static DWORD WINAPI Main(void* self) {
    static_cast<Background*>(self)->routine_();
    return 0;
  }

  std::function<void()> routine_;
  UniqueHandle thread_;
};

}  // namespace zor::selftest
