/// Reading scenario files.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/scenario.h"

namespace zor::sim {

struct ScenarioResult {
  /// Nothing when there is an error.
  std::optional<Scenario> scenario = {};
  /// Everything that is wrong, in the order of the lines: "file:line: key: what is wrong", or
  /// "file:line:column: what is wrong" when it is not even JSON.
  std::vector<std::string> errors = {};
};

/// `name` is what the errors call the file. A key that the text leaves out keeps what `base` has.
[[nodiscard]] ScenarioResult ReadScenario(std::string_view text, const std::string& name,
                                          Scenario base);

/// Reads a file, on top of the default scenario.
[[nodiscard]] ScenarioResult LoadScenario(const std::string& file);

}  // namespace zor::sim
