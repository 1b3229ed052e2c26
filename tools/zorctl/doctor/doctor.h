/// Looking at the whole chain.
#pragma once

#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

/// Creates no instance and changes nothing at the server. Takes none of its pipes' instances before
/// it has seen whether there are free ones.
[[nodiscard]] Facts Examine();

}  // namespace zor::ctl
