#include "discovery/driver_version.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "discovery/text.h"

namespace zor {
namespace {

std::wstring_view Trim(std::wstring_view text) noexcept {
  const auto begin = std::find_if_not(text.begin(), text.end(), IsWhiteSpace);
  const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), IsWhiteSpace);
  return {begin, end.base()};
}

/// std::stoul in base 10 as 64-bit Windows has it, where an unsigned long is of 32 bits; the
/// standard library's own has the width and the error texts of whatever it is built for.
std::uint32_t ToUnsignedLong(std::wstring_view text) {
  auto at = std::find_if_not(text.begin(), text.end(), IsWhiteSpace);
  const bool negative = at != text.end() && *at == L'-';
  if (negative || (at != text.end() && *at == L'+')) ++at;

  if (at == text.end() || DigitValue(*at) < 0) {
    throw std::invalid_argument("invalid stoul argument");
  }
  std::uint64_t value = 0;
  for (; at != text.end() && DigitValue(*at) >= 0; ++at) {
    value = value * 10 + static_cast<std::uint64_t>(DigitValue(*at));
    if (value > std::numeric_limits<std::uint32_t>::max()) {
      throw std::out_of_range("stoul argument out of range");
    }
  }
  return static_cast<std::uint32_t>(negative ? 0 - value : value);
}

}  // namespace

std::vector<std::wstring> SplitString(std::wstring_view text, wchar_t delimiter, bool trim) {
  std::vector<std::wstring> pieces;
  const auto add = [&](std::wstring_view piece) {
    pieces.emplace_back(trim ? Trim(piece) : piece);
  };
  std::size_t begin = 0;
  for (std::size_t end = text.find(delimiter); end != std::wstring_view::npos;
       end = text.find(delimiter, begin)) {
    add(text.substr(begin, end - begin));
    begin = end + 1;
  }
  add(text.substr(begin));
  return pieces;
}

VersionQuad ParseVersion(std::wstring_view text) {
  const std::vector<std::wstring> pieces = SplitString(text, L'.', true);
  VersionQuad version = {};
  if (pieces.size() != version.size()) return version;
  std::transform(pieces.begin(), pieces.end(), version.begin(), [](const std::wstring& piece) {
    return static_cast<std::uint16_t>(ToUnsignedLong(piece));
  });
  return version;
}

}  // namespace zor
