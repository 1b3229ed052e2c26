/// Events as a callback is given them, and a callback that records them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "interface/zor_interface.h"

namespace zor::testing {

/// The members of an event that its type has; for types above 5 none.
struct EventCopy {
  std::uint32_t type = 0;
  bool flag = false;
  std::uint32_t value = 0;
  std::string text = {};

  bool operator==(const EventCopy&) const = default;

  [[nodiscard]] static EventCopy Of(const ZorEvent& event);
};

std::ostream& operator<<(std::ostream& stream, const EventCopy& event);

/// An event as it was during the callback.
struct SeenEvent : EventCopy {
  ZorEvent record{};  ///< whatever is in it; its text is no longer there
  const ZorEvent* address = nullptr;
  unsigned long thread = 0;
};

/// Records every event that OnEvent() is called with. The callback has no argument of its own, so
/// there is one recorder at a time, and the library that calls it must be unloaded before it.
class EventRecorder {
 public:
  EventRecorder();
  EventRecorder(const EventRecorder&) = delete;
  EventRecorder& operator=(const EventRecorder&) = delete;
  ~EventRecorder();

  static void OnEvent(ZorEvent* event);

  /// Run at the end of every callback, on the listener's thread. Set it before registering.
  std::function<void(const SeenEvent&)> then;

  /// Waits until `count` events have been recorded, for as long as they keep coming, and returns
  /// all there are. Throws, saying what has arrived, when no more come.
  [[nodiscard]] std::vector<SeenEvent> WaitFor(std::size_t count);
  [[nodiscard]] std::vector<SeenEvent> Seen() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<SeenEvent> seen_;
};

}  // namespace zor::testing
