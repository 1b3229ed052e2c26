/// The algorithms whose libraries lie in the driver package and answer.
#pragma once

#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "discovery/algorithm_catalogue.h"
#include "discovery/driver_package.h"

namespace zor {

/// The names of the catalogue, one for each library that answers and each pattern that it matches:
/// a name may come more than once. Throws std::filesystem::filesystem_error when the package's
/// directory cannot be listed.
[[nodiscard]] std::vector<std::wstring> ListLocalAlgorithms(const AlgorithmCatalogue& catalogue,
                                                            const std::wregex& library_filter,
                                                            const DriverPackageInfo& package);

/// Loads one library, asks it for its algorithm id and unloads it; nothing when it does not answer.
/// Changes the process's search for libraries: `directory` stays in it.
[[nodiscard]] std::optional<std::uint32_t> QueryLibrary(const std::wstring& directory,
                                                        const std::wstring& file);

}  // namespace zor
