/// From what was seen to what is wrong and what to do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

enum class Verdict : std::uint8_t { kOk, kWarning, kFault, kSkipped };

/// One step of the chain, or one of the things that a step looks at.
struct Finding {
  std::string step;   ///< "request_pipe"
  std::string title;  ///< "request pipe"
  Verdict verdict = Verdict::kOk;
  std::string found;   ///< a clause: "K270502.dll answered"
  std::string wrong;   ///< a sentence; empty when nothing is
  std::string advice;  ///< a sentence; empty when there is nothing to do
};

/// In the order of the chain.
[[nodiscard]] std::vector<Finding> Diagnose(const Facts& facts);

/// Whether there is no fault; warnings do not count.
[[nodiscard]] bool IsHealthy(const std::vector<Finding>& findings);

}  // namespace zor::ctl
