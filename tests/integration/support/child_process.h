/// A program of the build as a process of its own.
#pragma once

#include <windows.h>

#include <string>

#include "tests/integration/support/handle.h"

namespace zor::testing {

/// A running child, killed at the latest with this object.
class ChildProcess {
 public:
  /// Runs `program`, of the folder that this one was built into.
  ChildProcess(const std::wstring& program, const std::wstring& arguments);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { Kill(); }

  /// Its number in the system.
  [[nodiscard]] DWORD id() const noexcept { return GetProcessId(process_.get()); }

  /// Waits for its end: its exit code. Throws when it does not end.
  [[nodiscard]] DWORD Wait();

  /// Ends it wherever it is; it is gone afterwards.
  void Kill() noexcept;

 private:
  UniqueHandle process_;
};

}  // namespace zor::testing
