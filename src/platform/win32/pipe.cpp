#include "platform/pipe.h"

#include <windows.h>

namespace zor::platform {
namespace {

static_assert(kErrorMoreData == ERROR_MORE_DATA);

// A handle is a pointer-sized number by the system's own definition.
HANDLE ToHandle(PipeHandle pipe) noexcept {
  return reinterpret_cast<HANDLE>(  // NOLINT(performance-no-int-to-ptr)
      static_cast<std::intptr_t>(pipe));
}

}  // namespace

OpenResult OpenPipe(const wchar_t* name) noexcept {
  const HANDLE pipe =
      CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  const DWORD error = GetLastError();
  return {static_cast<PipeHandle>(reinterpret_cast<std::intptr_t>(pipe)), error};
}

void SetMessageReadMode(PipeHandle pipe) noexcept {
  DWORD mode = PIPE_READMODE_MESSAGE;
  SetNamedPipeHandleState(ToHandle(pipe), &mode, nullptr, nullptr);
}

bool PeekPipe(PipeHandle pipe) noexcept {
  return PeekNamedPipe(ToHandle(pipe), nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
}

bool PeekPipe(PipeHandle pipe, std::uint32_t& available) noexcept {
  DWORD total = available;
  const bool ok = PeekNamedPipe(ToHandle(pipe), nullptr, 0, nullptr, &total, nullptr) != FALSE;
  available = total;
  return ok;
}

bool WritePipe(PipeHandle pipe, std::span<const std::uint8_t> message) noexcept {
  DWORD written = 0;
  return WriteFile(ToHandle(pipe), message.data(), static_cast<DWORD>(message.size()), &written,
                   nullptr) != FALSE;
}

ReadResult ReadPipe(PipeHandle pipe, std::span<std::uint8_t> buffer) noexcept {
  DWORD count = 0;
  const bool ok = ReadFile(ToHandle(pipe), buffer.data(), static_cast<DWORD>(buffer.size()), &count,
                           nullptr) != FALSE;
  const DWORD error = GetLastError();
  return {ok, count, error};
}

void DisconnectPipe(PipeHandle pipe) noexcept { DisconnectNamedPipe(ToHandle(pipe)); }

void ClosePipe(PipeHandle pipe) noexcept { CloseHandle(ToHandle(pipe)); }

}  // namespace zor::platform
