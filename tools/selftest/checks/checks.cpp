#include "tools/selftest/checks/checks.h"

#include <algorithm>

namespace zor::selftest {

std::vector<Check> AllChecks() {
  std::vector<Check> all;
  for (const auto theme : {PipeChecks(), ThreadChecks(), RuntimeChecks(), DiscoveryChecks(),
                           LibraryChecks(), LatencyChecks()})
    all.insert(all.end(), theme.begin(), theme.end());
  return all;
}

const Check* FindCheck(std::span<const Check> checks, std::string_view name) {
  const auto found = std::ranges::find(checks, name, &Check::name);
  return found == checks.end() ? nullptr : &*found;
}

}  // namespace zor::selftest
