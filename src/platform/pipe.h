/// Named pipes, as a client. Each function is one system call; the result carries the thread's last
/// error, read right after the failing call.
#pragma once

#include <cstdint>
#include <span>

namespace zor::platform {

/// A pipe handle as a plain value, so that it can be atomic. Whoever holds it must close it.
enum class PipeHandle : std::intptr_t {
  kInvalid = -1,  // INVALID_HANDLE_VALUE
};

/// More of the message is left in the pipe than the read asked for (ERROR_MORE_DATA).
inline constexpr std::uint32_t kErrorMoreData = 234;

struct OpenResult {
  PipeHandle handle = PipeHandle::kInvalid;
  std::uint32_t error = 0;  ///< meaningful when `handle` is invalid
};

/// Opens an existing pipe for reading and writing: share mode 0, no security attributes, flags 0.
/// One attempt, no waiting for a busy pipe.
[[nodiscard]] OpenResult OpenPipe(const wchar_t* name) noexcept;

/// Switches the client's end to message-read mode. A failure is not reported.
void SetMessageReadMode(PipeHandle pipe) noexcept;

/// True when the pipe still answers.
[[nodiscard]] bool PeekPipe(PipeHandle pipe) noexcept;

/// As above; `available` becomes the sum of the bytes of all messages that wait, or stays as it was
/// when the pipe does not answer.
[[nodiscard]] bool PeekPipe(PipeHandle pipe, std::uint32_t& available) noexcept;

/// Writes one message. Blocks until the server has room for it.
[[nodiscard]] bool WritePipe(PipeHandle pipe, std::span<const std::uint8_t> message) noexcept;

struct ReadResult {
  bool ok = false;
  std::uint32_t count = 0;  ///< bytes read, also by a read that failed with kErrorMoreData
  std::uint32_t error = 0;  ///< meaningful when not `ok`
};

/// Reads one message, or the first part of one that is longer than the buffer. Blocks until one
/// arrives.
[[nodiscard]] ReadResult ReadPipe(PipeHandle pipe, std::span<std::uint8_t> buffer) noexcept;

/// On a client's end this does nothing but fail, which is ignored.
void DisconnectPipe(PipeHandle pipe) noexcept;

void ClosePipe(PipeHandle pipe) noexcept;

}  // namespace zor::platform
