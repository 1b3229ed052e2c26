#include "simulator/win32/pipe_io.h"

#include <algorithm>
#include <array>

namespace zor::sim {
namespace {

constexpr std::size_t kPart = 65536;

}  // namespace

PipeOperation::PipeOperation(HANDLE pipe) : pipe_(pipe) { overlapped_.hEvent = event_.get(); }

PipeOperation::~PipeOperation() {
  if (!in_flight_) return;
  CancelIoEx(pipe_, &overlapped_);
  static_cast<void>(Finish());
}

void PipeOperation::Connect() {
  Begin();
  const BOOL ok = ConnectNamedPipe(pipe_, &overlapped_);
  const DWORD error = GetLastError();
  if (ok == FALSE && error == ERROR_PIPE_CONNECTED) {
    // The client was quicker: there is nothing to wait for.
    Began(TRUE, ERROR_SUCCESS);
    in_flight_ = false;
    SetEvent(event());
  } else {
    Began(ok, error);
  }
}

void PipeOperation::Read(std::span<std::uint8_t> buffer) {
  Begin();
  const BOOL ok =
      ReadFile(pipe_, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, &overlapped_);
  Began(ok, GetLastError());
}

void PipeOperation::Write(std::span<const std::uint8_t> message) {
  Begin();
  const BOOL ok =
      WriteFile(pipe_, message.data(), static_cast<DWORD>(message.size()), nullptr, &overlapped_);
  Began(ok, GetLastError());
}

IoResult PipeOperation::Finish() {
  DWORD count = 0;
  DWORD error = error_;
  if (in_flight_) {
    const BOOL ok = GetOverlappedResult(pipe_, &overlapped_, &count, TRUE);
    error = ok != FALSE ? ERROR_SUCCESS : GetLastError();
    in_flight_ = false;
  }
  switch (error) {
    case ERROR_SUCCESS:
      return {IoStatus::kDone, count};
    case ERROR_MORE_DATA:
      return {IoStatus::kMore, count};
    default:
      return {IoStatus::kBroken, 0};
  }
}

IoResult PipeOperation::Finish(HANDLE stop) {
  const std::array<HANDLE, 2> handles = {stop, event()};
  const DWORD woken =
      WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  if (woken == WAIT_OBJECT_0) {
    CancelIoEx(pipe_, &overlapped_);
    static_cast<void>(Finish());
    return {IoStatus::kStopped, 0};
  }
  return Finish();
}

void PipeOperation::Begin() {
  error_ = ERROR_SUCCESS;
  ResetEvent(event());
}

// An operation that succeeds at once, or with more of the message left, also reports through its
// overlapped structure; one that fails at once does not.
void PipeOperation::Began(BOOL ok, DWORD error) {
  in_flight_ = ok != FALSE || error == ERROR_IO_PENDING || error == ERROR_MORE_DATA;
  if (in_flight_) return;
  error_ = error;
  SetEvent(event());
}

IoStatus ReadMessage(HANDLE pipe, HANDLE stop, std::size_t limit, Bytes& message,
                     std::uint64_t& size) {
  PipeOperation operation(pipe);
  size = message.size();
  Bytes rest;  // of a message that is too long: read, not kept
  for (;;) {
    const bool keeps = size < limit;
    const std::size_t part = keeps ? std::min(kPart, limit - message.size()) : kPart;
    Bytes& target = keeps ? message : rest;
    const std::size_t before = keeps ? message.size() : 0;
    target.resize(before + part);
    operation.Read(std::span(target).subspan(before));
    const IoResult result = operation.Finish(stop);
    target.resize(before + result.count);
    size += result.count;
    if (result.status != IoStatus::kMore) return result.status;
  }
}

IoStatus AwaitMessage(HANDLE pipe, HANDLE stop, Bytes& message) {
  PipeOperation operation(pipe);
  message.resize(1);
  operation.Read(message);
  const IoResult result = operation.Finish(stop);
  message.resize(result.count);
  return result.status;
}

IoStatus WriteMessage(HANDLE pipe, HANDLE stop, std::span<const std::uint8_t> message) {
  PipeOperation operation(pipe);
  operation.Write(message);
  return operation.Finish(stop).status;
}

}  // namespace zor::sim
