/// Calls that do not wait for ever.
#pragma once

#include <cstdint>

#include "tools/zorctl/session.h"

namespace zor::ctl {

/// Makes the call and cancels it when it takes longer; 0 is no limit. After a cancelled call none
/// may be made in this process: the reply that comes late would be the next one's. A call that
/// cannot be cancelled, because it does not wait for the server, ends the process, with
/// kCallTimedOut.
[[nodiscard]] Outcome MakeWithin(Session& session, const Call& call, std::uint32_t timeout_ms);

}  // namespace zor::ctl
