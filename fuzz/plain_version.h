/// Parsing a version a second time, as plainly as possible.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "discovery/driver_version.h"

namespace zor::fuzz {

struct PlainVersion {
  enum Outcome { kParsed, kNone, kInvalid, kOutOfRange };
  Outcome outcome = kParsed;
  VersionQuad version = {};

  bool operator==(const PlainVersion&) const = default;
};

[[nodiscard]] inline bool IsPlainSpace(wchar_t c) {
  return std::wstring(
             L" \t\n\v\f\r\u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006"
             L"\u2007\u2008\u2009\u200A\u2028\u2029\u202F\u205F\u3000")
             .find(c) != std::wstring::npos;
}

/// -1 for what is no digit.
[[nodiscard]] inline int PlainDigit(wchar_t c) {
  constexpr std::wstring_view zeros =
      L"0\u0660\u06F0\u0966\u09E6\u0A66\u0AE6\u0B66\u0C66\u0CE6\u0D66\u0E50\u0ED0\u0F20\u1040\u17E0"
      L"\u1810\uFF10";
  for (int value = 0; value < 10; ++value) {
    if (zeros.find(static_cast<wchar_t>(c - value)) != std::wstring_view::npos) return value;
  }
  return -1;
}

[[nodiscard]] inline PlainVersion PlainParse(const std::wstring& text) {
  std::wstring part;
  std::vector<std::wstring> parts;
  for (const wchar_t c : text + L'.') {
    if (c != L'.') {
      part += c;
      continue;
    }
    parts.push_back(part);
    part.clear();
  }
  PlainVersion parsed;
  if (parts.size() != 4) return parsed;
  for (std::size_t i = 0; i < 4; ++i) {
    std::size_t at = 0;
    const std::wstring& digits = parts[i];
    while (at < digits.size() && IsPlainSpace(digits[at])) ++at;
    bool minus = false;
    if (at < digits.size() && (digits[at] == L'-' || digits[at] == L'+')) {
      minus = digits[at++] == L'-';
    }
    if (at == digits.size() || PlainDigit(digits[at]) < 0) {
      return {.outcome = PlainVersion::kInvalid};
    }
    unsigned long long value = 0;
    for (; at < digits.size() && PlainDigit(digits[at]) >= 0; ++at) {
      value = value * 10 + static_cast<unsigned long long>(PlainDigit(digits[at]));
      if (value >= 1ULL << 32) return {.outcome = PlainVersion::kOutOfRange};
    }
    parsed.version[i] = static_cast<std::uint16_t>((minus ? 65536 - value % 65536 : value) % 65536);
  }
  return parsed;
}

}  // namespace zor::fuzz
