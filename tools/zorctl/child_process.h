/// Running a program.
#pragma once

#include <string>
#include <vector>

#include "tools/windows/handle.h"

namespace zor::ctl {

struct ChildProcess {
  windows::OwnedHandle process;
  DWORD id = 0;

  /// Meaningful when the process has ended.
  [[nodiscard]] int ExitStatus() const;
};

/// The words as one command line, quoted so that the program's runtime takes it apart as it was.
[[nodiscard]] std::wstring ToCommandLine(const std::vector<std::string>& words);

/// Starts the program, found as the system finds programs, with its arguments, in UTF-8; it shares
/// this process's streams.
[[nodiscard]] ChildProcess StartProgram(const std::vector<std::string>& command);

}  // namespace zor::ctl
