/// Running checks, each in a process of its own.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tools/selftest/check.h"
#include "tools/selftest/report.h"

namespace zor::selftest {

/// The child's half: looks, and writes what was seen to the standard output. The exit code.
[[nodiscard]] int LookAndTell(const Check& check);

/// The parent's half: runs a check in a child that has `limit_seconds`.
[[nodiscard]] Sighting LookInAChild(const Check& check, int limit_seconds);

}  // namespace zor::selftest
