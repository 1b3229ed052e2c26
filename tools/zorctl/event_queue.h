/// The server's notifications, from the library's thread to zorctl's own.
#pragma once

#include <deque>
#include <mutex>
#include <optional>

#include "tools/zorctl/event.h"
#include "tools/zorctl/owned_handle.h"

namespace zor::ctl {

/// Receives notifications from its making until its end; one at a time in the process.
class EventQueue {
 public:
  EventQueue();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;
  ~EventQueue();

  /// The next notification, without waiting.
  [[nodiscard]] std::optional<SeenEvent> Take();

  /// Signalled when one has arrived; reset by the wait.
  [[nodiscard]] HANDLE arrived() const noexcept;
};

}  // namespace zor::ctl
