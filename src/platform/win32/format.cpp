// The only file that is compiled with _UCRT defined, for the runtime's own formatters. It must
// include no stream, locale or file-system header: see the toolchain file.
//
// wchar.h comes first: MinGW's stdio.h has a _vscwprintf of its own, which takes %s for a narrow
// text, and leaves out wchar.h's when it is there before. wchar.h's and the formatters below take
// %s for a wide one.
#include <wchar.h>

#include <stdio.h>

#include "platform/debug_output.h"

namespace zor::platform {

int FormattedLength(const char* format, std::va_list arguments) noexcept {
  return _vscprintf(format, arguments);
}

int FormattedLength(const wchar_t* format, std::va_list arguments) noexcept {
  // This form is wchar.h's in any case.
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
