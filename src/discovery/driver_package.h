/// The driver package in the system's driver store that belongs to the installed driver.
#pragma once

#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "discovery/driver_version.h"
#include "platform/driver_query.h"

namespace zor {

struct DriverPackageInfo {
  bool found = false;
  VersionQuad version = {};  ///< of the installed driver
  std::wstring path;         ///< the package's folder, without a separator at its end
};

/// Where packages are, and what a version looks like there.
struct DriverStore {
  std::wstring folder_mark = L"zorapo.inf_";
  std::wstring directory = L"System32\\DriverStore\\FileRepository";
  std::wregex version_pattern{LR"(([0-9]\d*)(\.([0-9]\d*)){3})",
                              std::regex_constants::ECMAScript | std::regex_constants::icase};
};

/// Asks the system's management service for the installed driver's version. False on any failure,
/// which is logged and leaves `version` as it was. COM must be initialised on the calling thread.
/// Throws as ParseVersion does.
[[nodiscard]] bool QueryDriverVersion(VersionQuad& version);

/// The driver store's directory; empty when the system root is not known.
[[nodiscard]] std::wstring DriverStoreDirectory(const DriverStore& store);

/// Appends the driver store's entries of the product's package. False when there are none. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] bool ScanDriverStore(const DriverStore& store, std::vector<std::wstring>& entries);

/// Finds the package with exactly this version. When there is none, false, and `path` is the best
/// of the others, empty if no package states a version; when there is no package at all, false, and
/// `path` is as it was. Throws as ScanDriverStore, FindVersion and ParseVersion do.
[[nodiscard]] bool FindDriverPackage(const DriverStore& store, const VersionQuad& driver_version,
                                     std::wstring& path);

/// Finding the package; a package of another version than the driver's is found, too.
[[nodiscard]] DriverPackageInfo LocateDriverPackage(const DriverStore& store);

// The steps of that search, for whoever wants to say what each of them found.

/// Where a query for the driver's version can end.
enum class QueryStep : std::uint8_t {
  kSecurity,
  kLocator,
  kConnect,
  kProxyBlanket,
  kQuery,
  kFindDriver,
  kReadVersion,
  kDone
};

struct DriverAnswer {
  QueryStep failed = QueryStep::kDone;  ///< kDone: there is a version
  platform::ComResult result = 0;       ///< of the step that failed, up to kQuery
  std::uint32_t rows = 0;               ///< drivers that were looked at
  std::wstring version;                 ///< of kDone, as it is written
};

/// Logs nothing.
[[nodiscard]] DriverAnswer AskForDriver();

struct PackageInf {
  std::wstring path;
  bool opened = false;
  std::wstring version_line;           ///< empty when there is none
  std::optional<VersionQuad> version;  ///< none when the line states none
};

/// Throws as FindVersion does.
[[nodiscard]] PackageInf ReadPackageInf(const DriverStore& store, const std::wstring& folder);

}  // namespace zor
