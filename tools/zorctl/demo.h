/// `zorctl demo`.
#pragma once

#include "tools/zorctl/exit_status.h"

namespace zor::ctl {

ExitStatus RunDemo(bool json);

}  // namespace zor::ctl
