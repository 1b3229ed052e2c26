/// A scripted machine: a driver, a driver store and algorithm libraries.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/directories.h"
#include "tests/support/driver_query.h"
#include "tests/support/environment.h"
#include "tests/support/modules.h"
#include "tests/support/text.h"

namespace zor::scripted {

/// The information entries of algorithm libraries: one that answers, and one that fails.
std::int32_t Answers(void* record);
std::int32_t Fails(void* record);

/// Begins with an empty driver store and no driver. A test fails when, at the machine's end, a
/// query or a listing is open or a library loaded.
class Machine {
 public:
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  /// Installs a driver of this version, as the management service reports it.
  static void InstallDriver(std::wstring version);

  /// Stages a package: its folder in the store, which holds nothing but the INF file. The folder.
  std::wstring AddPackage(const std::wstring& name, std::string_view inf);
  /// The same with an INF file that states this version.
  std::wstring AddPackageOfVersion(const std::wstring& name, const std::string& version);

  /// Puts an algorithm library into a package's folder.
  static void AddLibrary(const std::wstring& folder, const std::wstring& file,
                         std::int32_t (*information)(void*) = Answers);

  [[nodiscard]] const std::wstring& store() const { return store_; }

 private:
  std::filesystem::path folder_;  ///< where the INF files really are
  std::wstring store_;
};

}  // namespace zor::scripted
