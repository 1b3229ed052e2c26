/// Saying what doctor found.
#pragma once

#include <string>
#include <vector>

#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/report.h"

namespace zor::ctl {

/// A line for each finding, what is wrong and what to do below it, and a summary.
[[nodiscard]] std::string ToText(const std::vector<Finding>& findings);

[[nodiscard]] Json ToJson(const std::vector<Finding>& findings);

}  // namespace zor::ctl
