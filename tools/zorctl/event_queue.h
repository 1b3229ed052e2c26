/// The server's notifications, from the library's thread to zorctl's own.
#pragma once

#include <deque>
#include <mutex>
#include <optional>

#include "interface/zor.hpp"
#include "tools/windows/handle.h"
#include "tools/zorctl/event.h"

namespace zor::ctl {

/// Receives notifications from its making until its end; one at a time in the process.
class EventQueue {
 public:
  EventQueue();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;
  ~EventQueue() = default;

  /// The next notification, without waiting.
  [[nodiscard]] std::optional<SeenEvent> Take();

  /// Signalled when one has arrived; reset by the wait.
  [[nodiscard]] HANDLE arrived() const noexcept { return arrived_.get(); }

 private:
  void Add(const Event& event);

  std::mutex mutex_;
  std::deque<SeenEvent> events_;
  windows::OwnedHandle arrived_;
  ScopedEventCallback callback_;  ///< last: it delivers into the other members
};

}  // namespace zor::ctl
