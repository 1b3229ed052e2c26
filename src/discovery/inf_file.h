/// The version that a driver package's INF file states.
#pragma once

#include <istream>
#include <optional>
#include <regex>
#include <string>

#include "discovery/driver_version.h"

namespace zor {

/// The first line with "DriverVer" anywhere in it; empty when there is none. Reads no further. Lets
/// std::bad_alloc through, by the stream's exceptions().
[[nodiscard]] std::string FindVersionLine(std::istream& inf);

/// The leftmost match of `pattern` in the line, parsed. Throws as ParseVersion does, and
/// std::regex_error for a line on which the standard search would overflow the stack.
[[nodiscard]] std::optional<VersionQuad> FindVersion(const std::wstring& line,
                                                     const std::wregex& pattern);

}  // namespace zor
