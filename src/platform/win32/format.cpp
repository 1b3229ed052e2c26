// The only file that is compiled with _UCRT defined, for the runtime's own formatters. It must
// include no stream, locale or file-system header: see the toolchain file.
#include <wchar.h>
// Behind it, or MinGW leaves _vscwprintf_l out.
#include <stdio.h>

#include "platform/debug_output.h"

namespace zor::platform {

int FormattedLength(const char* format, std::va_list arguments) noexcept {
  return _vscprintf(format, arguments);
}

int FormattedLength(const wchar_t* format, std::va_list arguments) noexcept {
  // Without _l, MinGW's takes %s for a narrow text, and the formatter below for a wide one.
  return _vscwprintf_l(format, nullptr, arguments);
}

void Format(char* buffer, std::size_t size, const char* format, std::va_list arguments) noexcept {
  _vsnprintf_s(buffer, size, size, format, arguments);
}

void Format(wchar_t* buffer, std::size_t size, const wchar_t* format,
            std::va_list arguments) noexcept {
  _vsnwprintf_s(buffer, size, size, format, arguments);
}

}  // namespace zor::platform
