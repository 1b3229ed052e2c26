#include "simulator/scenario.h"

namespace zor::sim {

const std::vector<std::string>& Scenario::algorithms() const {
  static const std::vector<std::string> none;
  const auto found = lists.find(kAlgorithmSelector);
  return found == lists.end() ? none : found->second;
}

}  // namespace zor::sim
