#include "tests/integration/support/child_process.h"

#include <stdexcept>

#include "tests/integration/support/loaded_library.h"

namespace zor::testing {

ChildProcess::ChildProcess(const std::wstring& program, const std::wstring& arguments) {
  std::wstring command = L"\"" + BinaryFolder() + L"\\" + program + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION child{};
  int attempts = 3;
  while (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &child) == FALSE) {
    // Wine's word for one that has not even begun, which on a busy machine one in a thousand does.
    if (GetLastError() != ERROR_INTERNAL_ERROR || --attempts == 0) ThrowLastError("CreateProcess");
  }
  process_ = UniqueHandle(child.hProcess);
  const UniqueHandle thread(child.hThread);
}

DWORD ChildProcess::Wait() {
  if (WaitForSingleObject(process_.get(), kPatienceMs) != WAIT_OBJECT_0) {
    throw std::runtime_error("the process does not end");
  }
  DWORD code = 0;
  GetExitCodeProcess(process_.get(), &code);
  return code;
}

void ChildProcess::Kill() noexcept {
  TerminateProcess(process_.get(), 1);
  WaitForSingleObject(process_.get(), kPatienceMs);
}

}  // namespace zor::testing
