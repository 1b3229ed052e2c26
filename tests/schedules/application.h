/// What the scenarios' applications have in common.
#pragma once

#include <cstdint>
#include <vector>

#include "messages/reply.h"
#include "tests/kit/messages.h"
#include "tests/schedules/scenario.h"

namespace zor::schedules {

/// The event that a callback was called with, and which callback.
struct Delivery {
  char callback = 0;
  std::uint32_t value = 0;

  bool operator==(const Delivery&) const = default;
};

/// An application with the library, and two callbacks that keep what they are called with. One
/// exists at a time.
class Application : public Scenario {
 public:
  Application() { self_ = this; }

 protected:
  static void CallbackA(ZorEvent* event) { self_->Deliver('A', *event); }
  static void CallbackB(ZorEvent* event) { self_->Deliver('B', *event); }

  /// On the listener's thread, after the event is kept.
  virtual void DuringTheCallback() {}

  void Register(ZorEventCallback callback) { dll.client().event_callback = callback; }

  [[nodiscard]] static Bytes Message(std::uint32_t value) {
    return Build(testing::Notification{.type = 1, .value = value});
  }

  /// A server's reply: the request's handle, as the status.
  [[nodiscard]] static Bytes StatusReply(const Bytes& request) {
    const auto* message = messages::CheckReply(request);
    return Build(testing::Reply{.status = static_cast<std::uint8_t>(message->handle())});
  }

  /// The values alone.
  [[nodiscard]] std::vector<std::uint32_t> Values() const {
    std::vector<std::uint32_t> values;
    for (const Delivery& delivery : deliveries) values.push_back(delivery.value);
    return values;
  }

  Dll dll;
  std::vector<Delivery> deliveries;

 private:
  void Deliver(char callback, const ZorEvent& event) {
    deliveries.push_back({callback, event.data.event1.value});
    TheSystem().scheduler().Point("is in the callback");
    DuringTheCallback();
  }

  static inline Application* self_ = nullptr;
};

}  // namespace zor::schedules
