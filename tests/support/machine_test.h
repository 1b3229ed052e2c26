/// A fixture: the library on a machine with a driver, a driver store and algorithm libraries.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "interface/zor_interface.h"
#include "tests/kit/messages.h"
#include "tests/support/directories.h"
#include "tests/support/driver_query.h"
#include "tests/support/environment.h"
#include "tests/support/library_test.h"
#include "tests/support/modules.h"
#include "tests/support/text.h"

namespace zor::scripted {

/// The information entries of algorithm libraries: one that answers, and one that fails.
std::int32_t Answers(void* record);
std::int32_t Fails(void* record);

/// Every test begins on a machine with an empty driver store and no driver. It fails when it leaves
/// a query or a listing open or a library loaded.
class MachineTest : public CallTest {
 protected:
  MachineTest();
  ~MachineTest() override;
  void TearDown() override;

  /// Installs a driver of this version, as the management service reports it.
  static void InstallDriver(std::wstring version);

  /// Stages a package: its folder in the store, which holds nothing but the INF file. The folder.
  std::wstring AddPackage(const std::wstring& name, std::string_view inf);
  /// The same with an INF file that states this version.
  std::wstring AddPackageOfVersion(const std::wstring& name, const std::string& version);

  /// Puts an algorithm library into a package's folder.
  static void AddLibrary(const std::wstring& folder, const std::wstring& file,
                         std::int32_t (*information)(void*) = Answers);

  /// Lets the server have these algorithms; `count` says how many, whatever they are.
  static void ServeAlgorithms(std::vector<std::string> names);
  static void ServeAlgorithms(std::vector<std::string> names, std::uint32_t count);

  [[nodiscard]] const std::wstring& store() const { return store_; }

 private:
  std::filesystem::path folder_;  ///< where the INF files really are
  std::wstring store_;
};

}  // namespace zor::scripted
