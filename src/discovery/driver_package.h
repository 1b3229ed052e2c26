/// The driver package in the system's driver store that belongs to the installed driver.
#pragma once

#include <string>
#include <vector>

#include "discovery/driver_version.h"
#include "discovery/search_observer.h"

namespace zor {

struct DriverPackageInfo {
  bool found = false;
  VersionQuad version = {};  ///< of the installed driver
  std::wstring path;         ///< the package's folder, without a separator at its end
};

/// Where packages are.
struct DriverStore {
  std::wstring folder_mark = L"zorapo.inf_";
  std::wstring directory = L"System32\\DriverStore\\FileRepository";
};

/// Asks the system's management service for the installed driver's version. False on any failure,
/// which is logged and leaves `version` as it was. COM must be initialised on the calling thread.
/// Throws as ParseVersion does.
[[nodiscard]] bool QueryDriverVersion(VersionQuad& version,
                                      const SearchObserver& observer = SearchObserver());

/// Appends the driver store's entries of the product's package. False when there are none. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] bool ScanDriverStore(const DriverStore& store, std::vector<std::wstring>& entries,
                                   const SearchObserver& observer = SearchObserver());

/// Finds the package with exactly this version. When there is none, false, and `path` is the best
/// of the others, empty if no package states a version; when there is no package at all, false, and
/// `path` is as it was. Throws as ScanDriverStore, FindVersion and ParseVersion do.
[[nodiscard]] bool FindDriverPackage(const DriverStore& store, const VersionQuad& driver_version,
                                     std::wstring& path,
                                     const SearchObserver& observer = SearchObserver());

/// Finding the package; a package of another version than the driver's is found, too.
[[nodiscard]] DriverPackageInfo LocateDriverPackage(
    const DriverStore& store, const SearchObserver& observer = SearchObserver());

}  // namespace zor
