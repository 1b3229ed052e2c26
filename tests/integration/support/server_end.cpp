#include "tests/integration/support/server_end.h"

#include <array>
#include <iostream>

namespace zor::testing {

ServerEnd::ServerEnd(const wchar_t* name, const Options& options)
    : pipe_(Require(
          CreateNamedPipeW(
              name, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
              PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
              options.instances, options.buffer_size, options.buffer_size, 0, nullptr),
          "CreateNamedPipe")) {}

bool ServerEnd::WaitForClient() {
  operation_ = {};
  operation_.hEvent = done_.get();
  const bool connected = ConnectNamedPipe(pipe_.get(), &operation_) != FALSE;
  const DWORD error = connected ? ERROR_SUCCESS : GetLastError();
  // Already there, or already gone again.
  if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) return true;
  const Outcome outcome = Finish(connected, error);
  if (!outcome.ok && !IsCancelled()) {
    std::cerr << "no client has connected, error " << outcome.error << '\n';
  }
  return outcome.ok;
}

std::optional<Bytes> ServerEnd::Read() {
  Bytes message;
  std::array<std::uint8_t, 4096> part{};
  for (;;) {
    operation_ = {};
    operation_.hEvent = done_.get();
    const bool read = ReadFile(pipe_.get(), part.data(), static_cast<DWORD>(part.size()), nullptr,
                               &operation_) != FALSE;
    const Outcome outcome = Finish(read, read ? ERROR_SUCCESS : GetLastError());
    if (!outcome.ok && outcome.error != ERROR_MORE_DATA) return std::nullopt;
    message.insert(message.end(), part.begin(), part.begin() + outcome.count);
    if (outcome.ok) return message;
  }
}

bool ServerEnd::Write(std::span<const std::uint8_t> message) {
  operation_ = {};
  operation_.hEvent = done_.get();
  const bool written = WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()),
                                 nullptr, &operation_) != FALSE;
  return Finish(written, written ? ERROR_SUCCESS : GetLastError()).ok;
}

void ServerEnd::Disconnect() noexcept { DisconnectNamedPipe(pipe_.get()); }

ServerEnd::Outcome ServerEnd::Finish(bool started, DWORD error) {
  if (!started && error == ERROR_IO_PENDING) {
    const std::array<HANDLE, 2> ends{done_.get(), cancelled_.get()};
    const DWORD woken =
        WaitForMultipleObjects(static_cast<DWORD>(ends.size()), ends.data(), FALSE, kPatienceMs);
    if (woken != WAIT_OBJECT_0) CancelIoEx(pipe_.get(), &operation_);
  } else if (!started && error != ERROR_MORE_DATA) {
    return {.ok = false, .count = 0, .error = error};
  }
  Outcome outcome;
  // Waits for the cancelled operation too: the system may write into the buffer until then.
  outcome.ok = GetOverlappedResult(pipe_.get(), &operation_, &outcome.count, TRUE) != FALSE;
  outcome.error = outcome.ok ? ERROR_SUCCESS : GetLastError();
  return outcome;
}

}  // namespace zor::testing
