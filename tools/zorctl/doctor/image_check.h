/// Looking at the file of a program or a library without running any of it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/zorctl/doctor/facts.h"
#include "tools/zorctl/doctor/pe_file.h"

namespace zor::ctl {

/// The file's contents as an image; when it cannot be read, `facts` says why, as of any other
/// reason for which it does not fit this process.
[[nodiscard]] PeFile ReadImage(const std::filesystem::path& file, ImageFacts& facts);

/// As ReadImage, and looks for the libraries that it needs, and those that these need: in the
/// folders, and where the system has its own. A library of the system is taken for whole.
[[nodiscard]] ImageFacts ExamineImage(const std::filesystem::path& file,
                                      const std::vector<std::filesystem::path>& folders);

/// Where the system has its libraries, and the folders of the environment's path.
[[nodiscard]] std::filesystem::path SystemFolder();
[[nodiscard]] std::vector<std::filesystem::path> PathFolders();

}  // namespace zor::ctl
