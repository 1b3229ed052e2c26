#include "discovery/inf_file.h"

#include <algorithm>
#include <cstddef>

namespace zor {
namespace {

/// The standard search recurses once for every character of a match: a few thousand of them are
/// more than the stack of an application's thread.
constexpr std::size_t kLongestMatch = 512;

bool CanBeSearched(const std::wstring& line) {
  constexpr auto kCharacters = L"0123456789.";
  for (std::size_t begin = 0, end = 0; begin < line.size(); begin = end + 1) {
    end = std::min(line.find_first_not_of(kCharacters, begin), line.size());
    if (end - begin > kLongestMatch) return false;
  }
  return true;
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
