/// `zorctl batch`.
#pragma once

#include "tools/zorctl/command.h"
#include "tools/zorctl/exit_status.h"

namespace zor::ctl {

ExitStatus RunBatch(const BatchCommand& command, bool json);

}  // namespace zor::ctl
