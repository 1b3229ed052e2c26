/// The algorithms whose libraries lie in the driver package and answer.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "discovery/algorithm_catalogue.h"
#include "discovery/driver_package.h"
#include "discovery/search_observer.h"

namespace zor {

/// The names of the catalogue, one for each library that answers and each pattern that it matches:
/// a name may come more than once. Loads one library after the other, asks it for its algorithm id
/// and unloads it. Changes the process's search for libraries: the package's folder stays in it.
/// Throws std::filesystem::filesystem_error when the package's directory cannot be listed.
[[nodiscard]] std::vector<std::wstring> ListLocalAlgorithms(
    const AlgorithmCatalogue& catalogue, const std::wregex& library_filter,
    const DriverPackageInfo& package, const SearchObserver& observer = SearchObserver());

}  // namespace zor
