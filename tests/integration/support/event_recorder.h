/// A callback for the library that records what it is given.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "interface/zor_interface.h"

namespace zor::testing {

/// The record as it was during the callback, read in both of the ways that the types lay it out.
struct SeenEvent {
  std::uint32_t type = 0;
  bool flag = false;
  std::uint32_t value = 0;
  std::string text;                    ///< read for the types that have one
  const char* text_pointer = nullptr;  ///< whatever is there
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

  /// Waits until at least `count` events have been recorded, and returns all there are.
  [[nodiscard]] std::vector<SeenEvent> WaitFor(std::size_t count);
  [[nodiscard]] std::vector<SeenEvent> Seen() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<SeenEvent> seen_;
};

}  // namespace zor::testing
