#include "simulator/engine.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <utility>
#include <variant>

#include "simulator/message_builder.h"

namespace zor::sim {
namespace {

/// Whether a fault comes before the call, so that it is never made.
struct PreventsCall {
  bool operator()(Drop drop) const { return drop == Drop::kUnread || drop == Drop::kBeforeCall; }
  bool operator()(const ClosePipes& /*close*/) const { return true; }
  bool operator()(const ReplyResult& /*result*/) const { return true; }
  template <typename Other>
  bool operator()(const Other& /*other*/) const {
    return false;
  }
};

/// Bends the reply, which is in place already, as a fault wants it.
struct ApplyFault {
  Reaction& reaction;

  void operator()(std::monostate /*none*/) const {}
  void operator()(Drop drop) const {
    reaction.drop = true;
    if (drop != Drop::kAfterReply) reaction.reply.reset();
  }
  void operator()(const ClosePipes& close) const {
    reaction.reply.reset();
    reaction.effects.emplace_back(close);
  }
  void operator()(const ReplyResult& result) const {
    reaction.reply = BuildReply({.result = result.result});
  }
  void operator()(const ReplySize& size) const {
    if (reaction.reply->size() < size.bytes) reaction.reply->resize(size.bytes);
  }
  void operator()(const ReplyTruncated& truncated) const {
    if (reaction.reply->size() > truncated.bytes) reaction.reply->resize(truncated.bytes);
  }
  void operator()(const ReplyGarbage& garbage) const {
    // This generator's output is the same with every standard library.
    std::mt19937 random(garbage.seed);
    reaction.reply->resize(garbage.bytes);
    std::ranges::generate(*reaction.reply,
                          [&random] { return static_cast<std::uint8_t>(random() & 0xFFU); });
  }
  void operator()(const ReplyRaw& raw) const { reaction.reply = raw.bytes; }
  void operator()(const ReplySplit& split) const {
    if (reaction.reply->size() <= split.bytes) return;
    const auto middle = reaction.reply->begin() + split.bytes;
    reaction.rest.emplace(middle, reaction.reply->end());
    reaction.rest_delay_ms = split.rest_after_ms;
    reaction.reply->erase(middle, reaction.reply->end());
  }
  void operator()(const ReplyWithoutOutputs& /*without*/) const { reaction.reply = BuildReply({}); }
  void operator()(const NoReply& /*none*/) const { reaction.reply.reset(); }
};

}  // namespace

Engine::Engine(Scenario scenario)
    : scenario_(std::move(scenario)),
      model_(scenario_),
      faults_(scenario_.faults),
      events_(scenario_.events) {}

Reaction Engine::OnRequest(std::span<const std::uint8_t> request) {
  return React(ReadRequest(request));
}

Reaction Engine::React(const Request& request) {
  Reaction reaction{.function = request.function};
  const Fault* fault = faults_.OnRequest(request.function);
  const bool makes_call = fault == nullptr || !std::visit(PreventsCall{}, fault->action);

  if (makes_call) {
    reaction.reply = BuildReply(AnswerRequest(scenario_, model_, request));
    if (reaction.reply->size() > scenario_.limits.reply_bytes) {
      reaction.reply = BuildReply({.result = static_cast<std::uint32_t>(Result::kReplyTooLarge)});
    }
    for (const Notification& notification : model_.TakeRaised()) {
      reaction.effects.emplace_back(BuildNotification(notification));
    }
  }
  std::ranges::move(events_.OnRequest(request.function), std::back_inserter(reaction.effects));
  if (fault != nullptr) {
    reaction.faulted = true;
    reaction.delay_ms = fault->delay_ms;
    std::visit(ApplyFault{reaction}, fault->action);
  }
  return reaction;
}

}  // namespace zor::sim
