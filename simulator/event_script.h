/// When a scenario's events happen, and what they do.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "simulator/call_counter.h"
#include "simulator/scenario.h"

namespace zor::sim {

/// What is to be done to the clients: a message for the notification pipe, or something to the
/// pipes themselves.
using Effect = std::variant<Bytes, DropClients, ClosePipes>;

/// Walks through a scenario's events, which must outlive it. Times count from the moment at which
/// the pipes opened. Not safe for use by several threads at once.
class EventScript {
 public:
  explicit EventScript(const std::vector<ScriptedEvent>& events);

  /// When the next timed event is due; nothing when there is none left.
  [[nodiscard]] std::optional<std::chrono::milliseconds> NextDue() const;

  /// The timed events that are due at `now`, in order of their times.
  [[nodiscard]] std::vector<Effect> TakeDue(std::chrono::milliseconds now);

  /// Counts a request; the events that it sets off.
  [[nodiscard]] std::vector<Effect> OnRequest(std::string_view function);

  /// What a client of the notification pipe receives when it connects.
  [[nodiscard]] std::vector<Bytes> OnConnect() const;

 private:
  struct Timed {
    std::chrono::milliseconds due = {};
    std::chrono::milliseconds interval = {};  ///< 0: once
    std::uint32_t left = 0;                   ///< of an interval; 0: without end
    const EventAction* action = nullptr;
  };
  struct Called {
    CallCounter counter;
    const EventAction* action = nullptr;
  };

  std::vector<Timed> timed_;
  std::vector<Called> called_;
  std::vector<const EventAction*> on_connect_;
};

}  // namespace zor::sim
