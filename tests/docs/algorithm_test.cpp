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

TEST(ManualAlgorithm, IsRecognised) {
  const DiscoveryRules rules;
  DriverPackageInfo package;
  package.found = true;
  package.path = Folder();
  EXPECT_EQ(ListLocalAlgorithms(rules.catalogue, rules.library_filter, package),
            std::vector<std::wstring>{L"general"});
}

TEST(ManualAlgorithm, AnswersWithItsId) {
  const LibraryQuery query = QueryLibrary(Folder(), L"K270502.dll");
  EXPECT_EQ(query.failed, LibraryStep::kDone);
  EXPECT_EQ(query.algorithm_id, 0x2705U);
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
