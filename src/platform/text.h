/// Conversions between UTF-8 (code page 65001) and the system's wide characters, with flags 0:
/// bytes or characters that are not valid become the replacement character.
#pragma once

namespace zor::platform {

/// Converts up to and including the NUL. `buffer` has room for `size` elements; a size of 0 asks
/// for the length only. The number of elements, the NUL included; 0 when there is no conversion.
[[nodiscard]] int Utf8ToWide(const char* text, wchar_t* buffer, int size) noexcept;
[[nodiscard]] int WideToUtf8(const wchar_t* text, char* buffer, int size) noexcept;

}  // namespace zor::platform
