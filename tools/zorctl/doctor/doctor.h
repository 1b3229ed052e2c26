/// Looking at the whole chain.
#pragma once

#include <functional>
#include <string>

#include "tools/zorctl/doctor/diagnosis.h"

namespace zor::ctl {

/// Who is told of the examination as it goes on.
struct Onlooker {
  std::function<void(const std::string& doing)> begin;  ///< before each step
  std::function<void(const Finding& finding)> found;    ///< as soon as it is found
};

/// Creates no instance and changes nothing at the server. Looks at everything that may hang or
/// crash in a process of its own, this program started anew, and comes to its end within a minute.
Facts Examine(const Onlooker& onlooker);

}  // namespace zor::ctl
