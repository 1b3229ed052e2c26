#include "simulator/default_scenario.h"

namespace zor::sim {

Scenario DefaultScenario() {
  Scenario scenario;
  scenario.information = {1, 2, 3, 4};
  scenario.lists[0] = {"playback", "capture"};
  scenario.lists[2] = {"general",   "private", "whisper", "listen", "listening_normalization",
                       "shotgun_bf"};
  scenario.parameters = {{.name = "gain", .initial = 1.0F, .range = Range{0.0F, 4.0F}},
                         {.name = "mix", .initial = 0.5F, .range = Range{0.0F, 1.0F}},
                         {.name = "mute"}};
  scenario.blobs = {{.name = "preset", .data = {1, 2, 3, 4}}};
  return scenario;
}

}  // namespace zor::sim
