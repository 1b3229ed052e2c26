#include "tests/integration/support/child_process.h"

#include <stdexcept>

#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/start_process.h"

namespace zor::testing {

ChildProcess::ChildProcess(const std::wstring& program, const std::wstring& arguments) {
  process_ = StartProcess(L"\"" + BinaryFolder() + L"\\" + program + L"\" " + arguments);
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
