/// This program as another process: a server to be killed, a program that ends with the library.
#pragma once

#include <windows.h>

#include <string>

#include "tools/selftest/handle.h"

namespace zor::selftest {

/// A process of this program; ended at the latest with this object.
class SelfProcess {
 public:
  /// Without a console of its own; `output` becomes its standard output, if there is one.
  explicit SelfProcess(const std::wstring& arguments, HANDLE output = nullptr);
  SelfProcess(const SelfProcess&) = delete;
  SelfProcess& operator=(const SelfProcess&) = delete;
  ~SelfProcess() { Kill(); }

  [[nodiscard]] bool EndsWithin(DWORD milliseconds) const noexcept {
    return WaitForSingleObject(process_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  /// Meaningful when it has ended.
  [[nodiscard]] DWORD ExitCode() const noexcept;
  /// Ends it and all that it has started; it is gone afterwards.
  void Kill() const noexcept;

 private:
  UniqueHandle job_;
  UniqueHandle process_;
};

[[nodiscard]] std::wstring ProgramPath();
/// With the last backslash.
[[nodiscard]] std::wstring ProgramFolder();

}  // namespace zor::selftest
