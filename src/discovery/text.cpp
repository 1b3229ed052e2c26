#include "discovery/text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ranges>

#include "platform/text.h"

namespace zor {
namespace {

template <typename Char>
Char ToUpper(Char character) noexcept {
  const bool lower = character >= Char{'a'} && character <= Char{'z'};
  return static_cast<Char>(lower ? character - Char{'a'} + Char{'A'} : character);
}

template <typename Char>
bool SameLetter(Char left, Char right) noexcept {
  return ToUpper(left) == ToUpper(right);
}

template <typename Char>
bool Equal(const Char* left, const Char* right) noexcept {
  while (*left != Char{} && SameLetter(*left, *right)) ++left, ++right;
  return *left == *right;
}

}  // namespace

bool IsWhiteSpace(wchar_t character) noexcept {
  return (character >= 0x09 && character <= 0x0D) || character == 0x20 || character == 0x85 ||
         character == 0xA0 || character == 0x1680 || (character >= 0x2000 && character <= 0x200A) ||
         character == 0x2028 || character == 0x2029 || character == 0x202F || character == 0x205F ||
         character == 0x3000;
}

int DigitValue(wchar_t character) noexcept {
  // ASCII, the scripts from Arabic to Mongolian, full width; the zeros of each.
  constexpr auto kZeros = std::to_array<wchar_t>({0x0030, 0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66,
                                                  0x0AE6, 0x0B66, 0x0C66, 0x0CE6, 0x0D66, 0x0E50,
                                                  0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10});
  const auto zero = std::ranges::find_if(
      kZeros, [character](wchar_t first) { return character >= first && character - first < 10; });
  return zero == kZeros.end() ? -1 : character - *zero;
}

bool EqualIgnoringCase(const char* left, const char* right) noexcept { return Equal(left, right); }

bool EqualIgnoringCase(const wchar_t* left, const wchar_t* right) noexcept {
  return Equal(left, right);
}

bool ContainsIgnoringCase(std::wstring_view text, std::wstring_view part) noexcept {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), SameLetter<wchar_t>) !=
         text.end();
}

std::wstring ToWide(const std::string& text) {
  const int size = platform::Utf8ToWide(text.c_str(), nullptr, 0);
  if (size <= 0) return {};
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  const int written = platform::Utf8ToWide(text.c_str(), wide.data(), size);
  if (written <= 0) return {};
  wide.resize(static_cast<std::size_t>(written) - 1);
  return wide;
}

std::string ToUtf8(const std::wstring& text) {
  const int size = platform::WideToUtf8(text.c_str(), nullptr, 0);
  if (size <= 0) return {};
  std::string utf8(static_cast<std::size_t>(size), '\0');
  const int written = platform::WideToUtf8(text.c_str(), utf8.data(), size);
  if (written <= 0) return {};
  utf8.resize(static_cast<std::size_t>(written) - 1);
  return utf8;
}

}  // namespace zor
