/// The simulated server without its pipes: bytes in, and what to do about them out.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/event_script.h"
#include "simulator/fault_script.h"
#include "simulator/instance_model.h"
#include "simulator/request_handler.h"
#include "simulator/scenario.h"

namespace zor::sim {

/// What the server does about one request, in this order: the effects, the wait, the reply, another
/// wait and the rest of the reply, the drop.
struct Reaction {
  std::string function = {};
  bool faulted = false;
  std::vector<Effect> effects = {};
  std::uint32_t delay_ms = 0;
  std::optional<Bytes> reply = {};  ///< nothing: no reply is sent; empty: a message of no bytes
  std::uint32_t rest_delay_ms = 0;
  std::optional<Bytes> rest = {};  ///< of a reply that is sent in two messages
  bool drop = false;
};

/// One server: its scenario, its instances and how far the scripts have got. Not safe for use by
/// several threads at once.
class Engine {
 public:
  explicit Engine(Scenario scenario);
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  /// `request` is one whole message, aligned to 8.
  [[nodiscard]] Reaction OnRequest(std::span<const std::uint8_t> request);

  /// A request of more bytes than the limit allows, whose bytes were not kept.
  [[nodiscard]] Reaction OnOversizedRequest() { return React({.too_large = true}); }

  /// Whether the next request is to be dropped unread; OnUnreadRequest() tells that it was.
  [[nodiscard]] bool DropsNextUnread() const { return faults_.DropsNextUnread(); }
  void OnUnreadRequest() { faults_.OnUnread(); }

  /// See EventScript.
  [[nodiscard]] std::vector<Bytes> OnNotifyClient() const { return events_.OnConnect(); }
  [[nodiscard]] std::optional<std::chrono::milliseconds> NextDue() const {
    return events_.NextDue();
  }
  [[nodiscard]] std::vector<Effect> TakeDue(std::chrono::milliseconds now) {
    return events_.TakeDue(now);
  }

  [[nodiscard]] const Scenario& scenario() const { return scenario_; }
  [[nodiscard]] const InstanceModel& model() const { return model_; }

 private:
  [[nodiscard]] Reaction React(const Request& request);

  const Scenario scenario_;
  InstanceModel model_;
  FaultScript faults_;
  EventScript events_;
};

}  // namespace zor::sim
