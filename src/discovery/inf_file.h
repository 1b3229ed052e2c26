/// The version that a driver package's INF file states.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <string_view>

#include "discovery/driver_version.h"

namespace zor {

/// The first line with "DriverVer" anywhere in it; empty when there is none. Reads no further. Lets
/// std::bad_alloc through, by the stream's exceptions().
[[nodiscard]] std::string FindVersionLine(std::istream& inf);

/// The leftmost match of `([0-9]\d*)(\.([0-9]\d*)){3}` in the line, parsed, whatever the line's
/// length. Throws as ParseVersion does.
[[nodiscard]] std::optional<VersionQuad> FindVersion(std::wstring_view line);

}  // namespace zor
