/// `zorctl doctor`.
#pragma once

#include "tools/zorctl/exit_status.h"

namespace zor::ctl {

ExitStatus RunDoctor(bool json);

}  // namespace zor::ctl
