#include "tools/zorctl/child_process.h"

#include "discovery/text.h"

namespace zor::ctl {
namespace {

/// One argument, quoted so that the other side's runtime takes it apart as it was.
std::wstring Quote(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'\\') {
      ++backslashes;
    } else {
      // Only before a quotation mark does a backslash need doubling.
      quoted.append(character == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
      backslashes = 0;
      quoted += character;
    }
  }
  quoted.append(backslashes * 2, L'\\');
  return quoted + L'"';
}

}  // namespace

int ChildProcess::ExitStatus() const {
  DWORD status = 0;
  if (GetExitCodeProcess(process.get(), &status) == FALSE) {
    ThrowLastError("reading the program's exit status");
  }
  return static_cast<int>(status);
}

std::wstring ToCommandLine(const std::vector<std::string>& words) {
  std::wstring line;
  for (const std::string& word : words) {
    if (!line.empty()) line += L' ';
    line += Quote(ToWide(word));
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
    ThrowLastError(("starting " + command.front()).c_str());
  }
  CloseHandle(started.hThread);
  return {OwnedHandle(started.hProcess), started.dwProcessId};
}

}  // namespace zor::ctl
