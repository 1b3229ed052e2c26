/// Listing a directory.
#pragma once

#include <string>
#include <vector>

namespace zor {

/// The full paths of the entries, files and folders alike, in the file system's order. Throws
/// std::filesystem::filesystem_error, which names the operation that failed.
[[nodiscard]] std::vector<std::wstring> ListDirectory(const std::wstring& directory);

/// What follows the last backslash or slash.
[[nodiscard]] std::wstring FileName(const std::wstring& path);

}  // namespace zor
