// The library's own scan finds the manual's algorithm library, and that alone, in its folder.
#include <windows.h>

#include <gtest/gtest.h>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "discovery/enumeration.h"
#include "discovery/library_scan.h"

namespace zor {
namespace {

std::wstring Folder() { return std::wstring(ZOR_ALGORITHM_FOLDER); }

struct IdObserver final : SearchObserver {
  explicit IdObserver(std::vector<std::uint32_t>& seen) : ids(seen) {}
  void SawLibrary(const LibraryQuery& query,
                  const std::vector<std::wstring>& /*names*/) const override {
    ids.push_back(query.algorithm_id);
  }
  std::vector<std::uint32_t>& ids;
};

TEST(ManualAlgorithm, IsRecognisedWithItsId) {
  const DiscoveryRules rules;
  DriverPackageInfo package;
  package.found = true;
  package.path = Folder();
  std::vector<std::uint32_t> ids;
  EXPECT_EQ(ListLocalAlgorithms(rules.catalogue, rules.library_filter, package, IdObserver(ids)),
            std::vector<std::wstring>{L"general"});
  EXPECT_EQ(ids, std::vector<std::uint32_t>{0x2705});
}

TEST(ManualAlgorithm, WritesNoMoreThanTheRecordHas) {
  constexpr std::size_t kRecordSize = 32;
  std::uint8_t bytes[2 * kRecordSize];
  std::memset(bytes, 0xEE, sizeof bytes);
  const HMODULE library = LoadLibraryW((Folder() + L"\\K270502.dll").c_str());
  ASSERT_NE(library, nullptr);
  const auto entry = reinterpret_cast<std::int32_t (*)(void*)>(
      reinterpret_cast<void*>(GetProcAddress(library, "zor_get_dll_information")));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry(bytes), 0);
  for (std::size_t i = kRecordSize; i < sizeof bytes; ++i) EXPECT_EQ(bytes[i], 0xEE) << i;
  FreeLibrary(library);
}

}  // namespace
}  // namespace zor
