/// The clients of the notification pipe, and what waits to be sent to each.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "simulator/scenario.h"
#include "simulator/win32/pipe_listener.h"
#include "tools/windows/handle.h"

namespace zor::sim {

/// A message for one client or for many.
using SharedBytes = std::shared_ptr<const Bytes>;

/// A bounded queue: when it is full, the oldest message is lost.
class NotifyQueue {
 public:
  explicit NotifyQueue(std::size_t limit) : limit_(limit) {}

  /// False when a message was lost for it.
  bool Push(SharedBytes message);
  [[nodiscard]] SharedBytes Pop();  ///< null when it is empty

  /// Set as long as there is something to pop.
  [[nodiscard]] HANDLE event() const { return event_.get(); }

 private:
  const std::size_t limit_;
  const windows::Event event_;
  std::mutex mutex_;
  std::deque<SharedBytes> messages_;
};

/// Broadcasting. Instances of the pipe belong to it from the moment they listen: a client counts as
/// connected when the pipe says so, not when the server has noticed, so that nothing raised after
/// a client has connected passes it by.
class NotifyHub {
 public:
  explicit NotifyHub(std::size_t queue_limit) : queue_limit_(queue_limit) {}

  void Add(const PipeInstance& pipe);
  void Remove(const PipeInstance& pipe);

  /// The client of `pipe` is there; `greeting` is sent to it first, unless it was before.
  [[nodiscard]] std::shared_ptr<NotifyQueue> Greet(const PipeInstance& pipe,
                                                   const std::vector<Bytes>& greeting);

  /// Queues `message` for every client that is connected. How many messages were lost for it.
  std::uint64_t Broadcast(Bytes message, const std::vector<Bytes>& greeting);

 private:
  struct Client {
    PipeInstance pipe;
    std::shared_ptr<NotifyQueue> queue;
    bool greeted = false;
  };

  static void Greet(Client& client, const std::vector<Bytes>& greeting);

  const std::size_t queue_limit_;
  std::mutex mutex_;
  std::vector<Client> clients_;
};

}  // namespace zor::sim
