/// What a probe does: one look at something that may hang or crash.
#pragma once

#include "tools/zorctl/doctor/probe_process.h"

namespace zor::ctl {

/// The words are those behind kProbeWord. The status to end with, if it comes to an end.
int RunProbe(ProbeWords words);

}  // namespace zor::ctl
