/// The scenario of a server that is given none.
#pragma once

#include "simulator/scenario.h"

namespace zor::sim {

[[nodiscard]] Scenario DefaultScenario();

}  // namespace zor::sim
