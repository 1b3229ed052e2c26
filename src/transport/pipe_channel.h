/// One of the two pipe endpoints.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/pipe.h"
#include "platform/shared.h"

namespace zor {

/// Where the request channel goes: every call, on the caller's thread.
inline constexpr std::wstring_view kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
/// Where the notification channel goes: the listener.
inline constexpr std::wstring_view kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

/// An endpoint of a server's pipe, not connected when made. Never copied or moved.
class PipeChannel {
 public:
  static constexpr std::uint32_t kCapacity = 1024;
  static constexpr std::size_t kNameLimit = 64;

  /// `path` is cut at 63 characters.
  explicit PipeChannel(std::wstring_view path) noexcept;
  PipeChannel(const PipeChannel&) = delete;
  PipeChannel& operator=(const PipeChannel&) = delete;
  ~PipeChannel() { Close(); }

  /// Disconnects and closes the handle, if there is one. Two threads that close at once close once.
  void Close() noexcept;

  /// The unload's closing: closes now, or leaves it to the destructor while the listener holds the
  /// handle. No Hold holds anything afterwards.
  void Shut() noexcept;

  /// The listener's claim on the handle while it uses it, so that the unload does not close it
  /// meanwhile: the system could already have given its number to another thread.
  class [[nodiscard]] Hold {
   public:
    explicit Hold(PipeChannel& channel) noexcept;
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold();

    /// False when the channel is shut, or held already.
    [[nodiscard]] explicit operator bool() const noexcept { return channel_ != nullptr; }

   private:
    PipeChannel* channel_;
  };

  std::uint32_t capacity = kCapacity;
  std::array<wchar_t, kNameLimit> name{};        ///< the pipe's path, zero-terminated
  std::array<std::uint8_t, kCapacity> buffer{};  ///< reserved; the calls read into their own
  Shared<platform::PipeHandle> handle{platform::PipeHandle::kInvalid};

 private:
  enum class Use : std::uint8_t { kFree, kHeld, kShut };
  Shared<Use> use_{Use::kFree};
};

/// Makes sure that `channel` holds a live handle to the server's pipe: keeps one that answers, or
/// opens a new one, once. Logs what it does; logs nothing when the connection was kept.
[[nodiscard]] bool ConnectToServer(PipeChannel& channel) noexcept;

}  // namespace zor
