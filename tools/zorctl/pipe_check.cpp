#include "tools/zorctl/pipe_check.h"

#include <windows.h>

namespace zor::ctl {
namespace {

// A server may need a moment between two clients.
constexpr DWORD kPatienceMs = 250;

/// The system has no way to wait for a pipe.
bool CannotWait(DWORD error) noexcept {
  return error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_FUNCTION ||
         error == ERROR_CALL_NOT_IMPLEMENTED;
}

PipeCheck OpenForAMoment(const wchar_t* name) {
  // Without any right to read or write: an instance is taken all the same.
  const HANDLE pipe = CreateFileW(name, 0, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) return ExplainPipeError(GetLastError());
  CloseHandle(pipe);
  return {.state = PipeState::kFree};
}

}  // namespace

PipeCheck ExplainPipeError(std::uint32_t error) noexcept {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
      return {.state = PipeState::kAbsent, .error = error};
    case ERROR_SEM_TIMEOUT:
    case ERROR_PIPE_BUSY:
      return {.state = PipeState::kBusy, .error = error};
    default:
      return {.state = PipeState::kUnknown, .error = error};
  }
}

PipeCheck CheckPipe(const wchar_t* name) {
  // Only asks: no instance is taken, and none is used up.
  if (WaitNamedPipeW(name, kPatienceMs) != FALSE) return {.state = PipeState::kFree};
  const DWORD error = GetLastError();
  return CannotWait(error) ? OpenForAMoment(name) : ExplainPipeError(error);
}

}  // namespace zor::ctl
