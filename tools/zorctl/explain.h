/// What a result means, in sentences for people.
#pragma once

#include <string>

#include "interface/zor_interface.h"
#include "tools/zorctl/command.h"
#include "tools/zorctl/exit_status.h"

namespace zor::ctl {

struct Explanation {
  std::string meaning;  ///< what happened
  std::string advice;   ///< what to do; empty for a success
};

[[nodiscard]] Explanation Explain(const Call& call, ZorResult result);

[[nodiscard]] ExitStatus StatusOf(ZorResult result) noexcept;

}  // namespace zor::ctl
