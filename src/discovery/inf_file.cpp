#include "discovery/inf_file.h"

#include <algorithm>
#include <cwctype>
#include <string_view>
// IWYU pragma: no_include <bits/types/wint_t.h>
// IWYU pragma: no_include <vector>

namespace zor {
namespace {

bool IsAsciiDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

/// The `\d` of a regular expression: a digit of any script that the runtime knows.
bool IsDigit(wchar_t character) noexcept {
  return std::iswdigit(static_cast<std::wint_t>(character)) != 0;
}

/// Finds what std::regex_search finds, which recurses for each digit: a long number would overflow
/// the stack of a thread. Here each character is read once: when four numbers fail to follow each
/// other, no match begins at a character that has been read.
std::wstring_view FindVersionText(std::wstring_view line) {
  const auto end = line.end();
  auto at = line.begin();
  while ((at = std::find_if(at, end, IsAsciiDigit)) != end) {
    const auto begin = at;
    for (int numbers = 1; at != end && IsAsciiDigit(*at); ++numbers) {
      at = std::find_if_not(at, end, IsDigit);
      if (numbers == 4) return {begin, at};
      if (at != end && *at == L'.') ++at;
    }
  }
  return {};
}

}  // namespace

std::string FindVersionLine(std::istream& inf) {
  // A stream keeps to itself what its reading throws: a line that there is no memory for would pass
  // for the end of the file. A file that cannot be read on does end there.
  inf.exceptions(std::ios_base::badbit);
  try {
    std::string line;
    while (std::getline(inf, line)) {
      if (line.find("DriverVer") != std::string::npos) return line;
    }
  } catch (const std::ios_base::failure&) {
    return {};
  }
  return {};
}

std::optional<VersionQuad> FindVersion(std::wstring_view line) {
  const std::wstring_view text = FindVersionText(line);
  if (text.empty()) return std::nullopt;
  return ParseVersion(text);
}

}  // namespace zor
