// The scenario reader; a scenario that it accepts is then played.
#include <array>

#include "fuzz/harness.h"
#include "messages/request.h"
#include "simulator/default_scenario.h"
#include "simulator/engine.h"
#include "simulator/scenario_reader.h"

namespace zor::fuzz {
namespace {

sim::Bytes RequestFor(const char* func_name) {
  messages::Builder builder;
  builder.Finish(messages::BuildRequest(builder, {.func_name = func_name, .handle = 1}));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

void Play(sim::Scenario scenario) {
  sim::Engine engine(std::move(scenario));
  static const std::array kRequests = {RequestFor("ZorIntfGetInfo"), RequestFor("ZorIntfStart"),
                                       RequestFor("ZorIntfEnum")};
  for (const auto& request : kRequests) {
    if (engine.DropsNextUnread()) engine.OnUnreadRequest();
    static_cast<void>(engine.OnRequest(Block(request).bytes()));
  }
  static_cast<void>(engine.OnOversizedRequest());
  static_cast<void>(engine.OnNotifyClient());
  // As long as there is something to do, but not for as many times as an interval can have.
  for (int i = 0; i < 4; ++i) {
    const auto due = engine.NextDue();
    if (!due) break;
    static_cast<void>(engine.TakeDue(*due));
    Require(!engine.NextDue() || *engine.NextDue() > *due, "an event stays due");
  }
}

/// Blocks may be of 64 MiB each; more than a few of them are more than a test may take.
bool AsksForMuchMemory(std::string_view text) {
  int blocks = 0;
  for (std::size_t at = 0; (at = text.find("bytes", at)) != text.npos; ++at) ++blocks;
  return blocks > 6;
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  if (zor::fuzz::AsksForMuchMemory(text)) return 0;
  auto read = zor::sim::ReadScenario(text, "fuzz.json", zor::sim::DefaultScenario());
  zor::fuzz::Require(read.scenario.has_value() == read.errors.empty(), "neither or both");
  for (const std::string& error : read.errors) {
    zor::fuzz::Require(error.starts_with("fuzz.json:"), "an error without its place");
  }
  if (read.scenario) zor::fuzz::Play(*std::move(read.scenario));
  return 0;
}
