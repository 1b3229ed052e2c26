/// The algorithms whose libraries lie in the driver package and answer.
#pragma once

#include <cstdint>
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

// The steps of that search, for whoever wants to say what each of them found.

/// The package's entries whose names are those of algorithm libraries.
[[nodiscard]] std::vector<std::wstring> ListLibraries(const std::wregex& library_filter,
                                                      const std::wstring& directory);

enum class LibraryStep : std::uint8_t { kSetDirectory, kLoad, kFindEntry, kAsk, kDone };

struct LibraryQuery {
  LibraryStep failed = LibraryStep::kDone;  ///< kDone: the library answered
  std::uint32_t error = 0;                  ///< of kLoad: the system's
  std::int32_t answer = 0;                  ///< of kAsk: what the library returned
  std::uint32_t algorithm_id = 0;           ///< of kDone
};

/// Loads one library, asks it for its algorithm id and unloads it. Changes the process's search for
/// libraries: `directory` stays in it.
[[nodiscard]] LibraryQuery QueryLibrary(const std::wstring& directory, const std::wstring& file);

/// The names of the catalogue whose patterns the library's file name matches.
[[nodiscard]] std::vector<std::wstring> NamesOfLibrary(const AlgorithmCatalogue& catalogue,
                                                       const std::wstring& file);

}  // namespace zor
