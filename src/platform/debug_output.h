/// The debugger output and the runtime's printf family, which the debug log is made of.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace zor::platform {

/// The length of the formatted text, without its terminator; negative on an encoding error.
[[nodiscard]] int FormattedLength(const char* format, std::va_list arguments) noexcept;
[[nodiscard]] int FormattedLength(const wchar_t* format, std::va_list arguments) noexcept;

/// Formats into `buffer`: the bounded secure formatter of the runtime, with `size` characters as
/// the buffer's size and as the maximum count.
void Format(char* buffer, std::size_t size, const char* format, std::va_list arguments) noexcept;
void Format(wchar_t* buffer, std::size_t size, const wchar_t* format,
            std::va_list arguments) noexcept;

/// One message to whoever watches the debugger output.
void DebugOutput(const char* text) noexcept;
void DebugOutput(const wchar_t* text) noexcept;

}  // namespace zor::platform
