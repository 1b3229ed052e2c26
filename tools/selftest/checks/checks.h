/// The checks by theme, and together.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "tools/selftest/check.h"

namespace zor::selftest {

[[nodiscard]] std::span<const Check> PipeChecks();
[[nodiscard]] std::span<const Check> ThreadChecks();
[[nodiscard]] std::span<const Check> RuntimeChecks();
[[nodiscard]] std::span<const Check> DiscoveryChecks();
[[nodiscard]] std::span<const Check> LibraryChecks();
[[nodiscard]] std::span<const Check> LatencyChecks();

/// In the order of the reports.
[[nodiscard]] std::vector<Check> AllChecks();

/// Null when there is no such check.
[[nodiscard]] const Check* FindCheck(std::span<const Check> checks, std::string_view name);

}  // namespace zor::selftest
