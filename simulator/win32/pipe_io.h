/// One instance of a named pipe, the server's end, and its overlapped operations.
#pragma once

#include <windows.h>

#include <cstdint>
#include <span>

#include "simulator/scenario.h"
#include "tools/windows/handle.h"

namespace zor::sim {

enum class IoStatus : std::uint8_t {
  kDone,
  kMore,     ///< a part of a message was read; the rest waits
  kBroken,   ///< the client has gone, or the pipe has failed
  kStopped,  ///< the stop event came first
};

struct IoResult {
  IoStatus status = IoStatus::kBroken;
  DWORD count = 0;
};

/// An overlapped operation on a pipe, one at a time. Destroying it cancels what is in flight, so
/// its buffer must live as long.
class PipeOperation {
 public:
  explicit PipeOperation(HANDLE pipe);
  ~PipeOperation();
  PipeOperation(const PipeOperation&) = delete;
  PipeOperation& operator=(const PipeOperation&) = delete;

  void Connect();
  void Read(std::span<std::uint8_t> buffer);
  void Write(std::span<const std::uint8_t> message);

  /// Set as long as the operation is complete.
  [[nodiscard]] HANDLE event() const { return overlapped_.hEvent; }

  /// Waits for the operation to complete.
  [[nodiscard]] IoResult Finish();
  /// The same, unless `stop` is set first; the operation is then cancelled.
  [[nodiscard]] IoResult Finish(HANDLE stop);

 private:
  void Begin();
  void Began(BOOL ok, DWORD error);

  HANDLE pipe_;
  windows::Event event_;
  OVERLAPPED overlapped_ = {};
  bool in_flight_ = false;
  DWORD error_ = ERROR_SUCCESS;  ///< of an operation that failed at once
};

/// Reads one message whole, or the rest of one whose beginning is in `message`. Of one that is
/// longer than `limit` only the beginning is kept; `size` tells its length.
[[nodiscard]] IoStatus ReadMessage(HANDLE pipe, HANDLE stop, std::size_t limit, Bytes& message,
                                   std::uint64_t& size);

/// Waits for a message and takes no more than its first byte.
[[nodiscard]] IoStatus AwaitMessage(HANDLE pipe, HANDLE stop, Bytes& message);

[[nodiscard]] IoStatus WriteMessage(HANDLE pipe, HANDLE stop,
                                    std::span<const std::uint8_t> message);

}  // namespace zor::sim
