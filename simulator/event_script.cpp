#include "simulator/event_script.h"

#include <algorithm>
#include <utility>

#include "simulator/message_builder.h"

namespace zor::sim {
namespace {

using std::chrono::milliseconds;

Bytes Build(const ScriptedNotification& scripted) {
  Bytes message = BuildNotification(scripted.notification, scripted.func_name);
  if (message.size() < scripted.message_bytes) message.resize(scripted.message_bytes);
  return message;
}

struct ToEffect {
  Effect operator()(const ScriptedNotification& scripted) const { return Build(scripted); }
  Effect operator()(const Bytes& raw) const { return raw; }
  Effect operator()(const DropClients& drop) const { return drop; }
  Effect operator()(const ClosePipes& close) const { return close; }
};

Effect EffectOf(const EventAction& action) { return std::visit(ToEffect{}, action); }

}  // namespace

EventScript::EventScript(const std::vector<ScriptedEvent>& events) {
  for (const ScriptedEvent& event : events) {
    if (const auto* at = std::get_if<AtTime>(&event.trigger)) {
      timed_.push_back({milliseconds(at->milliseconds), milliseconds(0), 1, &event.action});
    } else if (const auto* every = std::get_if<EveryInterval>(&event.trigger)) {
      const milliseconds interval(every->milliseconds);
      timed_.push_back({interval, interval, every->count, &event.action});
    } else if (const auto* match = std::get_if<CallMatch>(&event.trigger)) {
      called_.push_back({CallCounter(*match), &event.action});
    } else {
      on_connect_.push_back(&event.action);
    }
  }
}

std::optional<milliseconds> EventScript::NextDue() const {
  const auto next = std::ranges::min_element(timed_, {}, &Timed::due);
  return next == timed_.end() ? std::nullopt : std::optional(next->due);
}

std::vector<Effect> EventScript::TakeDue(milliseconds now) {
  std::vector<Effect> effects;
  for (auto next = std::ranges::min_element(timed_, {}, &Timed::due);
       next != timed_.end() && next->due <= now;
       next = std::ranges::min_element(timed_, {}, &Timed::due)) {
    effects.push_back(EffectOf(*next->action));
    if (next->interval == milliseconds(0) || next->left == 1) {
      timed_.erase(next);
      continue;
    }
    if (next->left > 1) --next->left;
    next->due += next->interval;
  }
  return effects;
}

std::vector<Effect> EventScript::OnRequest(std::string_view function) {
  std::vector<Effect> effects;
  for (Called& called : called_) {
    if (called.counter.Count(function)) effects.push_back(EffectOf(*called.action));
  }
  return effects;
}

std::vector<Bytes> EventScript::OnConnect() const {
  std::vector<Bytes> messages;
  for (const EventAction* action : on_connect_) {
    Effect effect = EffectOf(*action);
    if (Bytes* message = std::get_if<Bytes>(&effect)) messages.push_back(std::move(*message));
  }
  return messages;
}

}  // namespace zor::sim
