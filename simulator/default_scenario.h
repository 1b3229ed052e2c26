/// The scenario of a server that is given none, and the ground on which scenario files stand.
#pragma once

#include <string_view>

#include "simulator/scenario.h"

namespace zor::sim {

/// The text of scenarios/default.json.
[[nodiscard]] std::string_view DefaultScenarioText();

[[nodiscard]] const Scenario& DefaultScenario();

}  // namespace zor::sim
