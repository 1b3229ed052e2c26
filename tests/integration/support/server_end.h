/// The server's end of one named pipe instance, independent of everything the product is built of.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <span>

#include "tests/integration/support/handle.h"
#include "tests/kit/messages.h"

namespace zor::testing {

inline constexpr const wchar_t* kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
inline constexpr const wchar_t* kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

/// A message-mode instance. No operation waits longer than kPatienceMs, and every one that waits is
/// ended by Cancel().
class ServerEnd {
 public:
  struct Options {
    DWORD instances = PIPE_UNLIMITED_INSTANCES;
    DWORD buffer_size = 65'536;
  };

  explicit ServerEnd(const wchar_t* name) : ServerEnd(name, Options{}) {}
  ServerEnd(const wchar_t* name, const Options& options);

  /// Waits until a client has opened this instance. A client that did so before counts,
  /// even when it has already left.
  [[nodiscard]] bool WaitForClient();
  /// One whole message, of any length; nothing when the client is gone.
  [[nodiscard]] std::optional<Bytes> Read();
  /// Sends one message; false when the client is gone. Waits while the buffer is full.
  [[nodiscard]] bool Write(std::span<const std::uint8_t> message);
  /// Ends the connection; what the client has not read is lost. WaitForClient() serves the next.
  void Disconnect() noexcept;

  /// Ends what waits, now and from now on. For another thread.
  void Cancel() const noexcept { cancelled_.Set(); }
  [[nodiscard]] bool IsCancelled() const noexcept { return cancelled_.IsSet(); }

 private:
  struct Outcome {
    bool ok = false;
    DWORD count = 0;
    DWORD error = 0;
  };

  /// Waits for the operation that was started, and had `error` if it did not end at once.
  [[nodiscard]] Outcome Finish(bool started, DWORD error);

  UniqueHandle pipe_;
  Event done_;
  Event cancelled_;
  OVERLAPPED operation_{};
};

}  // namespace zor::testing
