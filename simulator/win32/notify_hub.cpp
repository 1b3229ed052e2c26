#include "simulator/win32/notify_hub.h"

#include <algorithm>

namespace zor::sim {

bool NotifyQueue::Push(SharedBytes message) {
  const std::lock_guard lock(mutex_);
  const bool full = messages_.size() >= limit_;
  if (full) messages_.pop_front();
  messages_.push_back(std::move(message));
  event_.Set();
  return !full;
}

SharedBytes NotifyQueue::Pop() {
  const std::lock_guard lock(mutex_);
  if (messages_.empty()) return nullptr;
  SharedBytes message = std::move(messages_.front());
  messages_.pop_front();
  if (messages_.empty()) event_.Reset();
  return message;
}

void NotifyHub::Add(const PipeInstance& pipe) {
  const std::lock_guard lock(mutex_);
  clients_.push_back({pipe, std::make_shared<NotifyQueue>(queue_limit_)});
}

void NotifyHub::Remove(const PipeInstance& pipe) {
  const std::lock_guard lock(mutex_);
  std::erase_if(clients_, [&pipe](const Client& client) { return client.pipe == pipe; });
}

std::shared_ptr<NotifyQueue> NotifyHub::Greet(const PipeInstance& pipe,
                                              const std::vector<Bytes>& greeting) {
  const std::lock_guard lock(mutex_);
  const auto client = std::ranges::find(clients_, pipe, &Client::pipe);
  Greet(*client, greeting);
  return client->queue;
}

std::uint64_t NotifyHub::Broadcast(Bytes message, const std::vector<Bytes>& greeting) {
  const auto shared = std::make_shared<const Bytes>(std::move(message));
  const std::lock_guard lock(mutex_);
  std::uint64_t lost = 0;
  for (Client& client : clients_) {
    if (!client.greeted) {
      const HANDLE pipe = client.pipe->get();
      if (PeekNamedPipe(pipe, nullptr, 0, nullptr, nullptr, nullptr) == FALSE) continue;
      Greet(client, greeting);
    }
    if (!client.queue->Push(shared)) ++lost;
  }
  return lost;
}

void NotifyHub::Greet(Client& client, const std::vector<Bytes>& greeting) {
  if (client.greeted) return;
  client.greeted = true;
  for (const Bytes& message : greeting) {
    client.queue->Push(std::make_shared<const Bytes>(message));
  }
}

}  // namespace zor::sim
