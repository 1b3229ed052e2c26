/// Handles in tests, and how long one is waited for.
#pragma once

#include "tests/kit/patience.h"
#include "tools/windows/handle.h"

namespace zor::testing {

using zor::windows::Event;
using zor::windows::Own;
using zor::windows::Require;
using zor::windows::ThrowLastError;
using UniqueHandle = zor::windows::OwnedHandle;

/// How long a test waits while nothing moves, for the system's functions.
inline const DWORD kPatienceMs = static_cast<DWORD>(kPatience.count());

}  // namespace zor::testing
