#include "discovery/inf_file.h"

#include <algorithm>
#include <cstddef>
// IWYU pragma: no_include <vector>
// A match is one inside.

namespace zor {
namespace {

/// The standard search recurses once for every character of a match: a few thousand of them are
/// more than the stack of an application's thread.
constexpr std::size_t kLongestMatch = 512;

/// Digits are those of every script, as far as the runtime knows them.
bool MayMatch(wchar_t character) noexcept {
  constexpr wchar_t kLastAscii = 0x7F;
  return (character >= L'0' && character <= L'9') || character == L'.' || character > kLastAscii;
}

bool CanBeSearched(const std::wstring& line) {
  std::size_t run = 0;
  return std::all_of(line.begin(), line.end(), [&run](wchar_t character) {
    run = MayMatch(character) ? run + 1 : 0;
    return run <= kLongestMatch;
  });
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

std::optional<VersionQuad> FindVersion(const std::wstring& line, const std::wregex& pattern) {
  if (!CanBeSearched(line)) throw std::regex_error(std::regex_constants::error_stack);
  std::wsmatch match;
  if (!std::regex_search(line, match, pattern)) return std::nullopt;
  return ParseVersion(match.str());
}

}  // namespace zor
