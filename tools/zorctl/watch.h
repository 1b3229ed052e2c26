/// `zorctl watch`.
#pragma once

#include "tools/zorctl/command.h"
#include "tools/zorctl/exit_status.h"

namespace zor::ctl {

ExitStatus Watch(const WatchCommand& command, bool json);

}  // namespace zor::ctl
