#include "discovery/directory.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/directories.h"

namespace zor {
namespace {

using scripted::TheDirectories;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class DirectoryTest : public ::testing::Test {
 protected:
  DirectoryTest() { TheDirectories() = {}; }
  void TearDown() override { EXPECT_EQ(TheDirectories().open_count, 0); }

  /// What the listing's error says, and its number.
  static std::pair<std::string, int> Failure() {
    try {
      static_cast<void>(ListDirectory(L"C:\\x"));
    } catch (const std::filesystem::filesystem_error& error) {
      EXPECT_EQ(error.path1(), std::filesystem::path(L"C:\\x"));
      return {error.what(), error.code().value()};
    }
    return {};
  }
};

TEST_F(DirectoryTest, ListsFullPathsInTheSystemsOrder) {
  TheDirectories().directories[L"C:\\x"] = {.entries = {L"b", L"a.dll", L"B"}};
  EXPECT_THAT(ListDirectory(L"C:\\x"), ElementsAre(L"C:\\x\\b", L"C:\\x\\a.dll", L"C:\\x\\B"));
}

TEST_F(DirectoryTest, ListsAnEmptyDirectory) {
  TheDirectories().directories[L"C:\\x"] = {};
  EXPECT_THAT(ListDirectory(L"C:\\x"), IsEmpty());
}

TEST_F(DirectoryTest, SaysThatItCannotBeOpened) {
  const auto [text, number] = Failure();
  EXPECT_THAT(text, HasSubstr("directory_iterator::directory_iterator"));
  EXPECT_EQ(number, 3);
}

TEST_F(DirectoryTest, SaysThatItCannotBeReadOn) {
  TheDirectories().directories[L"C:\\x"] = {.entries = {L"a", L"b", L"c"}, .fails_after = 2};
  const auto [text, number] = Failure();
  EXPECT_THAT(text, HasSubstr("directory_iterator::operator++"));
  EXPECT_EQ(number, 5);
}

TEST(FileName, FollowsTheLastSeparator) {
  EXPECT_EQ(FileName(L"C:\\x\\y.dll"), L"y.dll");
  EXPECT_EQ(FileName(L"C:\\x/y.dll"), L"y.dll");
  EXPECT_EQ(FileName(L"C:/x\\y.dll"), L"y.dll");
  EXPECT_EQ(FileName(L"y.dll"), L"y.dll");
  EXPECT_EQ(FileName(L"x\\"), L"");
}

}  // namespace
}  // namespace zor
