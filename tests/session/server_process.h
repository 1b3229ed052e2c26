/// The simulated server as a process of its own.
#pragma once

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "tests/integration/support/child_process.h"
#include "tests/integration/support/handle.h"

namespace zor::testing {

/// A zorsim whose pipes are there when the constructor returns.
class ServerProcess {
 public:
  explicit ServerProcess(const std::wstring& options = L"")
      : child_(L"zorsim.exe", L"--quiet --ready-event " + Name() + L" " + options) {
    ready_.Wait();
  }

  [[nodiscard]] std::uint32_t process() const { return child_.id(); }
  void Kill() { child_.Kill(); }
  void Stop() {
    ChildProcess stop(L"zorsim.exe", L"--quiet --stop");
    if (stop.Wait() != 0 || child_.Wait() != 0) throw std::runtime_error("zorsim does not stop");
  }

 private:
  static std::wstring Name() { return L"zor-session-" + std::to_wstring(GetCurrentProcessId()); }

  class Ready {
   public:
    Ready() : handle_(Require(CreateEventW(nullptr, TRUE, FALSE, Name().c_str()), "CreateEvent")) {
      ResetEvent(handle_.get());
    }
    void Wait() const {
      if (WaitForSingleObject(handle_.get(), kPatienceMs) != WAIT_OBJECT_0) {
        throw std::runtime_error("zorsim does not begin");
      }
    }

   private:
    UniqueHandle handle_;
  };

  Ready ready_;
  ChildProcess child_;
};

}  // namespace zor::testing
