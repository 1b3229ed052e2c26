#include "notify/notify_listener.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>

#include "interface/debug_log.h"
#include "interface/zor_interface.h"
#include "notify/event_decoder.h"
#include "platform/pipe.h"
#include "platform/thread.h"

namespace zor {
namespace {

using platform::PipeHandle;

constexpr std::size_t kMessageLimit = 1024;
constexpr std::uint32_t kIdlePauseMs = 100;
constexpr std::uint32_t kReconnectPauseMs = 1;

class NotifyListener {
 public:
  // An initialiser of the event would set the first member of its union only, and no padding.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  explicit NotifyListener(RpcClient& client) noexcept : client_(client), channel_(*client.notify) {
    std::memset(&event_, 0, sizeof(event_));
  }

  void Pass() noexcept {
    Received received;
    {
      // Not held while it sleeps or runs the callback: the unload need not leave its closing to
      // later.
      const PipeChannel::Hold hold(channel_);
      if (!hold) return;
      received = Receive();
    }
    if (received.pause_ms != 0) {
      platform::Sleep(received.pause_ms);
    } else {
      Deliver(std::span(buffer_).first(received.size));
    }
  }

 private:
  /// What one pass found: a message of `size` bytes in the buffer, 0 for none, or a pause to make.
  struct Received {
    std::uint32_t pause_ms = 0;
    std::uint32_t size = 0;
  };

  [[nodiscard]] Received Receive() noexcept {
    if (!IsConnected()) {
      if (!ConnectToServer(channel_)) {
        Log("Connection was fail.\n");
        return {.pause_ms = kReconnectPauseMs};
      }
      Log("Connection was successful.\n");
    }

    const PipeHandle pipe = channel_.handle;
    std::uint32_t available = 0;
    if (!platform::PeekPipe(pipe, available)) {
      channel_.Close();
      return {};
    }
    if (static_cast<std::int32_t>(available) <= 0) return {.pause_ms = kIdlePauseMs};

    // Never read without bytes that were seen: the unload could not get past a read that waits.
    // `available` is the sum of all messages that wait; the read takes the first.
    const auto limit = std::min<std::size_t>(available, buffer_.size());
    const platform::ReadResult read = platform::ReadPipe(pipe, std::span(buffer_).first(limit));
    if (!read.ok) {
      if (read.error == platform::kErrorMoreData) Drain(pipe);
      return {.pause_ms = kIdlePauseMs};
    }
    return {.size = read.count};
  }

  [[nodiscard]] bool IsConnected() const noexcept {
    const PipeHandle pipe = channel_.handle;
    return pipe != PipeHandle::kInvalid && platform::PeekPipe(pipe);
  }

  /// Takes the rest of a message that is longer than the buffer, so that it is not read as one of
  /// its own. The rest is already there: these reads do not wait.
  void Drain(PipeHandle pipe) noexcept {
    platform::ReadResult rest;
    do {
      rest = platform::ReadPipe(pipe, buffer_);
    } while (!rest.ok && rest.error == platform::kErrorMoreData && !client_.stopping);
  }

  void Deliver(std::span<const std::uint8_t> message) noexcept {
    const char* name = ReadFunctionName(message);
    if (name == nullptr) return;
    Log("Recieve data from notify channel: %s\n", name);
    if (std::strcmp(name, "ZorIntfNotify") != 0) return;
    if (!ReadEvent(message, event_)) return;
    if (const ZorEventCallback callback = client_.event_callback) callback(&event_);
  }

  RpcClient& client_;
  PipeChannel& channel_;
  std::array<std::uint8_t, kMessageLimit> buffer_{};
  ZorEvent event_;  ///< never cleared: what a type does not set is left from the event before
};

}  // namespace

void RunNotifyListener(RpcClient& client) noexcept {
  if (client.stopping) return;
  NotifyListener listener(client);
  do {
    listener.Pass();
  } while (!client.stopping);
}

}  // namespace zor
