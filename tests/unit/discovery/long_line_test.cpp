// Version lines of any length, read on a thread with little stack.
#include <gmock/gmock.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "discovery/inf_file.h"
#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::TheOutput;
using ::testing::IsEmpty;

constexpr std::size_t kSmallStack = std::size_t{64} * 1024;

void RunOnSmallStack(const std::function<void()>& work) {
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_t thread = {};
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kSmallStack), 0);
  auto* argument = const_cast<std::function<void()>*>(&work);
  ASSERT_EQ(pthread_create(&thread, &attributes, run, argument), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

std::wstring Many(std::size_t count, wchar_t character) { return std::wstring(count, character); }

std::wstring Many(std::size_t count, const std::wstring& text) {
  std::wstring all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

constexpr VersionQuad kGood = {1, 0, 12, 345};
const std::wstring kGoodText = L"1.0.12.345";

struct Line {
  std::wstring text;
  std::optional<VersionQuad> version;
};

TEST(LongLine, IsSearchedOnASmallStack) {
  RunOnSmallStack([] {
    for (const auto& [text, version] : {
             Line{kGoodText + L" ; " + Many(513, L'\u6F22'), kGood},
             Line{Many(600, L'.') + kGoodText, kGood},
             Line{Many(600, L'\uFFFD') + kGoodText, kGood},
             Line{Many(1'000'000, L'\u6F22') + kGoodText, kGood},
             Line{Many(1'000'000, L'1'), std::nullopt},
             Line{Many(1'000'000, L"1."), VersionQuad{1, 1, 1, 1}},
             Line{Many(300'000, L"1.2.3;"), std::nullopt},
             Line{Many(300'000, L"1.2.3;") + kGoodText, kGood},
             Line{Many(100'000, L'7') + L" " + kGoodText, kGood},
             Line{kGoodText + L" " + Many(100'000, L'7'), kGood},
             Line{Many(100'000, L'0') + kGoodText, kGood},
             Line{L"1." + Many(100'000, L'0') + L".12.345", kGood},
             Line{L"1." + Many(100'000, L'\u0660') + L".12.345," + kGoodText, kGood},
         }) {
      EXPECT_EQ(FindVersion(text), version) << text.size();
    }
  });
}

TEST(LongLine, IsRefusedOnlyForItsNumber) {
  RunOnSmallStack([] {
    EXPECT_THROW(static_cast<void>(FindVersion(Many(100'000, L'1') + kGoodText)),
                 std::out_of_range);
    EXPECT_THROW(static_cast<void>(FindVersion(L"1.2.3." + Many(100'000, L'1'))),
                 std::out_of_range);
  });
}

std::string Text(std::size_t count, std::string_view text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

class LongLineTest : public scripted::MachineTest {
 protected:
  /// True when an enumeration on a small stack finds the algorithm library of this package. Takes
  /// the library away again.
  bool Finds(const std::wstring& package) {
    AddLibrary(package, L"K270502.dll");
    ServeAlgorithms({"private", "general"});
    ZorNameList list = {};
    RunOnSmallStack([&list] { EXPECT_EQ(ZorIntfEnum(2, &list), ZOR_SUCCESS); });
    // The server's two names without a library, one slot with it.
    const bool found = list.count == 1;
    AnswerWith(testing::Build(testing::Reply{}));
    EXPECT_EQ(ZorIntfEnum(0, &list), ZOR_SUCCESS);
    scripted::TheDirectories().directories[package].entries.clear();
    return found;
  }
};

TEST_F(LongLineTest, StatesTheVersionOfItsPackage) {
  InstallDriver(L"1.0.0.5");
  for (const std::string& line : {
           "1.0.0.5 ; " + Text(513, "\xE6\xBC\xA2"),
           Text(600, ".") + "1.0.0.5",
           Text(600, "\xFF") + "1.0.0.5",
           Text(1'000'000, "\xE6\xBC\xA2") + "1.0.0.5",
           Text(100'000, "7") + ",1.0.0.5",
           Text(100'000, "0") + "1.0.0.5",
       }) {
    EXPECT_TRUE(Finds(AddPackageOfVersion(L"zorapo.inf_1", line))) << line.size();
    scripted::TheDirectories().directories[store()].entries.clear();
  }
}

TEST_F(LongLineTest, WithoutAVersionIsPassedOver) {
  InstallDriver(L"1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_1", Text(100'000, "7"));
  AddPackageOfVersion(L"zorapo.inf_2", Text(600, "."));
  AddPackageOfVersion(L"zorapo.inf_3", Text(600, "\xFF"));
  AddPackageOfVersion(L"zorapo.inf_4", Text(1'000'000, "\xE6\xBC\xA2"));
  EXPECT_TRUE(Finds(AddPackageOfVersion(L"zorapo.inf_5", "1.0.0.5")));
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

}  // namespace
}  // namespace zor
