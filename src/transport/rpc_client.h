/// The process-wide client: both channels, the callback and the listener.
#pragma once

#include <memory>  // IWYU pragma: export

#include "interface/zor_interface.h"
#include "platform/shared.h"  // IWYU pragma: export
#include "transport/listener_thread.h"
#include "transport/pipe_channel.h"  // IWYU pragma: export

namespace zor {

/// What the application's threads and the listener share. Lives from load to unload.
struct RpcClient {
  /// Makes both channels, not connected, and starts the thread that runs `listener_routine`.
  /// Throws std::system_error when there is no thread to be had.
  explicit RpcClient(void (*listener_routine)(RpcClient&));
  RpcClient(const RpcClient&) = delete;
  RpcClient& operator=(const RpcClient&) = delete;
  ~RpcClient() { Shutdown(); }

  /// The unload: stops the listener, closes and frees both channels. Throws std::system_error when
  /// called from the listener's own thread. Does nothing the second time.
  void Shutdown();

  std::unique_ptr<PipeChannel> request;
  std::unique_ptr<PipeChannel> notify;
  Shared<ZorEventCallback> event_callback{nullptr};
  std::unique_ptr<ListenerThread> listener;
  Shared<bool> stopping{false};

 private:
  static void RunListener(void* client);

  void (*listener_routine_)(RpcClient&);
};

}  // namespace zor
