/// `zorctl log`.
#pragma once

#include "tools/zorctl/command.h"

namespace zor::ctl {

/// The status to end with: of the program, if one was run.
int ShowLog(const LogCommand& command, bool json);

}  // namespace zor::ctl
