/// What a campaign has tried, in the test's output and for the table in docs/reliability.md.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace zor::faults {

/// A line for scripts/torture to add up.
inline void Tally(const char* what, std::size_t count) {
  std::printf("tally: %zu %s\n", count, what);
  std::fflush(stdout);
}

/// Whether the whole campaign is wanted rather than the short form that every test run makes.
[[nodiscard]] inline bool WholeCampaign() { return std::getenv("ZOR_TORTURE") != nullptr; }

[[nodiscard]] inline std::size_t Scaled(std::size_t brief, std::size_t whole) {
  return WholeCampaign() ? whole : brief;
}

}  // namespace zor::faults
