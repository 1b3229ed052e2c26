/// What the search for this machine's algorithms finds, for whoever wants to report it step by
/// step.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "discovery/driver_version.h"
#include "platform/driver_query.h"

namespace zor {

/// The steps of the query for the installed driver's version.
enum class QueryStep : std::uint8_t {
  kSecurity,
  kLocator,
  kConnect,
  kProxyBlanket,
  kQuery,
  kFindDriver,
  kReadVersion
};

struct DriverAnswer {
  std::optional<QueryStep> failed = {};  ///< none: there is a version
  platform::ComResult result = 0;        ///< of the step that failed, up to kQuery
  std::uint32_t rows = 0;                ///< drivers that were looked at
  std::wstring version;                  ///< as the driver states it
};

struct PackageInf {
  std::wstring path;
  bool opened = false;
  std::wstring version_line;           ///< empty when there is none
  std::optional<VersionQuad> version;  ///< none when the line states none
};

/// The steps of asking one algorithm library for its information.
enum class LibraryStep : std::uint8_t { kSetDirectory, kLoad, kFindEntry, kAsk };

struct LibraryQuery {
  std::optional<LibraryStep> failed = {};  ///< none: the library returned its information
  std::uint32_t error = 0;                 ///< of kLoad: the system's error
  std::int32_t answer = 0;                 ///< of kAsk: the library's return value
  std::uint32_t algorithm_id = 0;
};

enum class SearchStep : std::uint8_t {
  kAskForDriver,
  kListStore,    ///< its subject is the driver store's folder
  kReadInf,      ///< a package's folder
  kListPackage,  ///< the chosen package's folder
  kAskLibrary    ///< a library's file name
};

/// Told of each step before it is taken, and of what it found. A step that throws ends the search
/// and has no finding. The search goes the same way whatever the observer does, unless it throws.
/// This one does nothing.
class SearchObserver {
 public:
  SearchObserver() = default;
  SearchObserver(const SearchObserver&) = delete;
  SearchObserver& operator=(const SearchObserver&) = delete;
  virtual ~SearchObserver() = default;

  virtual void Begin(SearchStep /*step*/, const std::wstring& /*subject*/) const {}

  virtual void SawDriver(const DriverAnswer& /*answer*/) const {}
  virtual void SawStore(const std::vector<std::wstring>& /*package_folders*/) const {}
  virtual void SawInf(const PackageInf& /*inf*/) const {}
  virtual void SawPackage(const std::vector<std::wstring>& /*library_files*/) const {}
  /// `names` are those of the catalogue; none for a library that failed.
  virtual void SawLibrary(const LibraryQuery& /*query*/,
                          const std::vector<std::wstring>& /*names*/) const {}
};

}  // namespace zor
