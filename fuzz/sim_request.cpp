// The simulated server with a session of requests: for each its length, then its bytes.
#include "fuzz/harness.h"
#include "messages/reply.h"
#include "simulator/engine.h"
#include "simulator/scenario_reader.h"
#include "simulator/trace_line.h"

namespace zor::fuzz {
namespace {

constexpr int kMostRequests = 12;

const sim::Scenario& FullScenario() {
  static const sim::Scenario scenario = [] {
    sim::ScenarioResult read = sim::LoadScenario(ZOR_SCENARIO);
    Require(read.scenario.has_value(), "the scenario cannot be read");
    read.scenario->faults.clear();  // what the server itself answers
    read.scenario->echo_set = true;
    return *std::move(read.scenario);
  }();
  return scenario;
}

void Request(sim::Engine& engine, std::span<const std::uint8_t> bytes) {
  const Block request(bytes);
  const sim::Reaction reaction = engine.OnRequest(request.bytes());
  Require(reaction.reply.has_value(), "a request is left without a reply");
  const Block reply(*reaction.reply);
  Require(messages::CheckReply(reply.bytes()) != nullptr, "a reply is not valid");
  Require(reaction.reply->size() <= engine.scenario().limits.reply_bytes, "a reply is too long");
  Require(engine.model().size() <= engine.scenario().limits.instances, "too many instances");

  for (const auto& bytes_of : {request.bytes(), reply.bytes()}) {
    const std::string line = sim::TraceLine({.client = 1,
                                             .kind = sim::TraceKind::kReceived,
                                             .bytes = bytes_of,
                                             .size = bytes_of.size()});
    Require(line.find('\n') == std::string::npos, "a trace is more than a line");
  }
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zor::fuzz::Input input(data, size);
  zor::sim::Engine engine(zor::fuzz::FullScenario());
  for (int i = 0; i < zor::fuzz::kMostRequests && !input.empty(); ++i) {
    const std::uint16_t length = input.Word();
    zor::fuzz::Request(engine, input.Bytes(length));
  }
  return 0;
}
