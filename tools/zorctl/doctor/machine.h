/// Looking at this machine with the library's own search for algorithms.
#pragma once

#include "discovery/enumeration.h"
#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

/// Loads and unloads the package's algorithm libraries, as the search does. COM must be initialised
/// on the calling thread.
[[nodiscard]] MachineFacts ExamineMachine(const DiscoveryRules& rules);

}  // namespace zor::ctl
