/// What zorctl does for each command: it prints, and returns the status to end with.
#pragma once

#include "tools/zorctl/command.h"
#include "tools/zorctl/explain.h"

namespace zor::ctl {

ExitStatus Watch(const WatchCommand& command, bool json);

/// Returns the status of the program, if one was run.
int ShowLog(const LogCommand& command, bool json);

ExitStatus RunDoctor(const DoctorCommand& command, bool json);

ExitStatus RunDemo(const DemoCommand& command, bool json);

ExitStatus TakeSnapshot(const SnapshotCommand& command);

ExitStatus RunBatch(const BatchCommand& command, bool json);

}  // namespace zor::ctl
