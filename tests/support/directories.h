/// The scripted directory listings: platform/directory.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zor::scripted {

/// What the system answers, by number.
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorAccessDenied = 5;

struct Directory {
  std::vector<std::wstring> entries;
  std::uint32_t open_error = 0;
  /// How many entries can be read before a failure.
  std::optional<std::size_t> fails_after = {};
  std::uint32_t advance_error = kErrorAccessDenied;
};

struct Directories {
  /// By path; any other path is absent.
  std::map<std::wstring, Directory> directories;
  /// The paths that a listing was asked of, in order.
  std::vector<std::wstring> listed;
  int open_count = 0;
};

[[nodiscard]] Directories& TheDirectories();

}  // namespace zor::scripted
