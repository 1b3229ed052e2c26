#include "simulator/win32/connections.h"

#include <iterator>
#include <system_error>
#include <utility>

namespace zor::sim {

bool Connections::Add(std::function<void(HANDLE stop)> serve) {
  const std::lock_guard lock(mutex_);
  for (auto it = connections_.begin(); it != connections_.end();) {
    const auto current = it++;
    if (!current->finished) continue;
    current->thread.join();
    connections_.erase(current);
  }
  Connection& added = connections_.emplace_back();
  try {
    added.thread = std::thread([&added, serve = std::move(serve)] {
      serve(added.stop.get());
      added.finished = true;
    });
  } catch (const std::system_error&) {
    connections_.pop_back();
    return false;
  }
  return true;
}

void Connections::Drop() {
  std::list<Connection> dropped;
  {
    const std::lock_guard lock(mutex_);
    dropped.swap(connections_);
  }
  for (Connection& connection : dropped) connection.stop.Set();
  for (Connection& connection : dropped) connection.thread.join();
}

}  // namespace zor::sim
