#include "tools/zorctl/child_process.h"

#include "discovery/text.h"
#include "tools/windows/command_line.h"

namespace zor::ctl {

int ChildProcess::ExitStatus() const {
  DWORD status = 0;
  if (GetExitCodeProcess(process.get(), &status) == FALSE) {
    windows::ThrowLastError("reading the program's exit status");
  }
  return static_cast<int>(status);
}

std::wstring ToCommandLine(const std::vector<std::string>& words) {
  std::wstring line;
  for (const std::string& word : words) {
    if (!line.empty()) line += L' ';
    line += windows::QuoteArgument(ToWide(word));
  }
  return line;
}

ChildProcess StartProgram(const std::vector<std::string>& command) {
  std::wstring line = ToCommandLine(command);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &started) == FALSE) {
    windows::ThrowLastError(("starting " + command.front()).c_str());
  }
  CloseHandle(started.hThread);
  return {windows::OwnedHandle(started.hProcess), started.dwProcessId};
}

}  // namespace zor::ctl
