/// Dotted versions of four numbers.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

/// a.b.c.d in this order; all zero means no version.
using VersionQuad = std::array<std::uint16_t, 4>;

/// Cuts `text` at every delimiter. Empty pieces are kept: there is always one more piece than there
/// are delimiters. With `trim`, white space goes from both ends of every piece.
[[nodiscard]] std::vector<std::wstring> SplitString(std::wstring_view text, wchar_t delimiter,
                                                    bool trim);

/// Zero for a text that is not of four parts. Only the low 16 bits of a part count: 70000 is 4464.
/// Throws std::invalid_argument for a part that does not begin with a number, std::out_of_range for
/// one that 32 bits cannot hold.
[[nodiscard]] VersionQuad ParseVersion(std::wstring_view text);

}  // namespace zor
