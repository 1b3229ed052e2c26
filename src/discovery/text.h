/// Comparing and converting text. None of it depends on the process's locale.
#pragma once

#include <string>
#include <string_view>

namespace zor {

/// What the Universal C Runtime's `iswspace` says.
[[nodiscard]] bool IsWhiteSpace(wchar_t character) noexcept;

/// The value of a decimal digit of any script that the Universal C Runtime's `wcstoul` reads; -1
/// for all other characters.
[[nodiscard]] int DigitValue(wchar_t character) noexcept;

/// Whole strings, ASCII letters of either case being equal.
[[nodiscard]] bool EqualIgnoringCase(const char* left, const char* right) noexcept;
[[nodiscard]] bool EqualIgnoringCase(const wchar_t* left, const wchar_t* right) noexcept;

/// As above, anywhere in `text`.
[[nodiscard]] bool ContainsIgnoringCase(std::wstring_view text, std::wstring_view part) noexcept;

/// From and to UTF-8, up to the first NUL; empty when there is no conversion.
[[nodiscard]] std::wstring ToWide(const std::string& text);
[[nodiscard]] std::string ToUtf8(const std::wstring& text);

}  // namespace zor
