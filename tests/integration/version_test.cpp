// The version resource of the built library, as the system reads it.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "tests/integration/support/handle.h"
#include "tests/integration/support/loaded_library.h"

namespace zor::testing {
namespace {

class VersionTest : public ::testing::Test {
 protected:
  VersionTest() {
    const std::wstring path = BuiltLibrary();
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
    resource_.resize(size);
    if (size == 0 || GetFileVersionInfoW(path.c_str(), 0, size, resource_.data()) == FALSE) {
      ThrowLastError("GetFileVersionInfo");
    }
  }

  template <typename T>
  const T* Find(const wchar_t* what) {
    void* found = nullptr;
    UINT size = 0;
    EXPECT_TRUE(VerQueryValueW(resource_.data(), what, &found, &size));
    return static_cast<const T*>(found);
  }

  std::vector<char> resource_;
};

TEST_F(VersionTest, NumbersAreTheProjects) {
  const auto* fixed = Find<VS_FIXEDFILEINFO>(L"\\");
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(fixed->dwFileVersionMS, DWORD{ZOR_VERSION_MAJOR << 16 | ZOR_VERSION_MINOR});
  EXPECT_EQ(fixed->dwFileVersionLS, DWORD{ZOR_VERSION_PATCH << 16});
  EXPECT_EQ(fixed->dwProductVersionMS, fixed->dwFileVersionMS);
  EXPECT_EQ(fixed->dwProductVersionLS, fixed->dwFileVersionLS);
}

TEST_F(VersionTest, TextsAreTheProjects) {
  const std::wstring texts = L"\\StringFileInfo\\040904b0\\";
  for (const auto* key : {L"FileVersion", L"ProductVersion"}) {
    const auto* text = Find<wchar_t>((texts + key).c_str());
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, ZOR_VERSION);
  }
  EXPECT_STREQ(Find<wchar_t>((texts + L"OriginalFilename").c_str()), L"ZorInterface.dll");
}

}  // namespace
}  // namespace zor::testing
