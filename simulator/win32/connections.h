/// The threads that serve the clients of one pipe.
#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "tools/windows/handle.h"

namespace zor::sim {

/// One thread for each client, each with a stop event of its own, so that those that are there now
/// can be stopped without touching one that connects meanwhile.
class Connections {
 public:
  Connections() = default;
  ~Connections() { Drop(); }
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  /// Runs `serve`, which returns soon after `stop` is set, on a thread of its own. False when there
  /// is no thread to have.
  [[nodiscard]] bool Add(std::function<void(HANDLE stop)> serve);

  /// Stops all and waits for them. Not from one of their own threads.
  void Drop();

 private:
  struct Connection {
    windows::Event stop;
    std::atomic<bool> finished = false;
    std::thread thread = {};
  };

  std::mutex mutex_;
  std::list<Connection> connections_;
};

}  // namespace zor::sim
