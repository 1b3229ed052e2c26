#include "platform/debug_output.h"

#include <windows.h>

namespace zor::platform {

void DebugOutput(const char* text) noexcept { OutputDebugStringA(text); }

void DebugOutput(const wchar_t* text) noexcept { OutputDebugStringW(text); }

}  // namespace zor::platform
