#include "tools/selftest/pipe_pair.h"

#include <atomic>
#include <vector>

namespace zor::selftest {
namespace {

constexpr DWORD kBufferSize = 65'536;

}  // namespace

Transfer Read(HANDLE pipe, std::size_t room) {
  std::vector<char> buffer(room + 1);
  Transfer transfer;
  transfer.ok =
      ReadFile(pipe, buffer.data(), static_cast<DWORD>(room), &transfer.count, nullptr) != FALSE;
  transfer.error = GetLastError();
  return transfer;
}

Transfer Write(HANDLE pipe, std::size_t size) {
  const std::vector<char> message(size + 1, 'x');
  Transfer transfer;
  transfer.ok =
      WriteFile(pipe, message.data(), static_cast<DWORD>(size), &transfer.count, nullptr) != FALSE;
  transfer.error = GetLastError();
  return transfer;
}

Waiting Peek(HANDLE pipe) {
  Waiting waiting;
  waiting.ok =
      PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting.total, &waiting.in_message) != FALSE;
  waiting.error = GetLastError();
  return waiting;
}

std::string Told(const Transfer& transfer) {
  if (transfer.ok) return Text(transfer.count);
  if (transfer.count == 0) return Text("error ", transfer.error);
  return Text("error ", transfer.error, " with ", transfer.count);
}

std::string Told(bool ok, DWORD error) { return ok ? "ok" : Text("error ", error); }

std::string Told(const Waiting& waiting) {
  return waiting.ok ? Text(waiting.total) : Text("error ", waiting.error);
}

std::wstring NewPipeName() {
  static std::atomic<int> number{0};
  return L"\\\\.\\pipe\\zor-selftest-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(++number);
}

UniqueHandle MakeInstance(const std::wstring& name, DWORD instances,
                          SECURITY_ATTRIBUTES* security) {
  return Require(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                  PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT |
                                      PIPE_REJECT_REMOTE_CLIENTS,
                                  instances, kBufferSize, kBufferSize, 0, security),
                 "CreateNamedPipe");
}

HANDLE OpenAsTheLibraryDoes(const std::wstring& name) noexcept {
  return CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                     nullptr);
}

void SetMessageMode(HANDLE client) {
  DWORD mode = PIPE_READMODE_MESSAGE;
  if (SetNamedPipeHandleState(client, &mode, nullptr, nullptr) == FALSE) {
    ThrowLastError("SetNamedPipeHandleState");
  }
}

PipePair::PipePair(bool message_mode) {
  if (message_mode) SetMessageMode(client.get());
}

}  // namespace zor::selftest
