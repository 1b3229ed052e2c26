#include "tools/zorctl/pipe_check.h"

#include <windows.h>

namespace zor::ctl {
namespace {

// A server may need a moment between two clients.
constexpr DWORD kPatienceMs = 250;

}  // namespace

PipeCheck CheckPipe(const wchar_t* name) {
  // Only asks: no instance is taken, and none is used up.
  if (WaitNamedPipeW(name, kPatienceMs) != FALSE) return {.state = PipeState::kFree};
  const DWORD error = GetLastError();
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
      return {.state = PipeState::kAbsent};
    case ERROR_SEM_TIMEOUT:
      return {.state = PipeState::kBusy};
    default:
      return {.state = PipeState::kUnknown, .error = error};
  }
}

}  // namespace zor::ctl
