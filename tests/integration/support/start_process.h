/// Starting a program as a process: the one way that the tests do it.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

#include "tests/integration/support/handle.h"

namespace zor::testing {

/// CreateProcessW(), with inherited handles when `inherits`; throws when it fails.
///
/// Wine gives up a start now and then, on a busy machine one in a thousand, before anything of the
/// program has run. It says so with ERROR_INTERNAL_ERROR. The program is then started again, and
/// `told` gets a line that begins as that of scripts/programs.py.
[[nodiscard]] UniqueHandle StartProcess(std::wstring command, STARTUPINFOW startup = {},
                                        bool inherits = false, std::FILE* told = stdout);

}  // namespace zor::testing
