// What a search does beside its result: calls from within it, and the thread's error mode.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::Function;
using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheModules;
using ::testing::ElementsAre;
using testing::Reply;

class SearchTest : public scripted::MachineTest {
 protected:
  /// The list's memory goes with the next successful call.
  void TearDown() override {
    AnswerWith(testing::Build(Reply{}));
    EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
    MachineTest::TearDown();
  }

  ZorNameList list_ = {};
};

using ReentrantEnumeration = SearchTest;

TEST_F(ReentrantEnumeration, FreesTheListOfTheCallWithinIt) {
  InstallDriver(L"1.0.0.5");
  ServeAlgorithms({"general", "private"});
  bool inside = false;
  TheCalls().Before(Function::kNextRow, [this, &inside] {
    if (inside) return;
    inside = true;
    EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_SUCCESS);
    EXPECT_EQ(list_.count, 2U);
    inside = false;
  });
  EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_SUCCESS);
  EXPECT_EQ(list_.count, 2U);
  // The slots and two names, of one call.
  EXPECT_EQ(TheHeap().BlockCount(), 3U);
}

TEST_F(ReentrantEnumeration, SeesTheListAlreadyFreed) {
  ServeAlgorithms({"general"});
  EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  bool looked = false;
  TheCalls().Before(Function::kInitializeSecurity, [this, &looked] {
    looked = true;
    EXPECT_EQ(list_.count, 0U);
    EXPECT_EQ(list_.items, nullptr);
    EXPECT_EQ(TheHeap().BlockCount(), 0U);
  });
  EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_SUCCESS);
  EXPECT_TRUE(looked);
}

TEST_F(ReentrantEnumeration, KeepsTheListWithinWhenItsOwnSearchFails) {
  InstallDriver(L"1.0.x.5");
  ServeAlgorithms({"general", "private"});
  TheCalls().Before(Function::kNextRow,
                    [this] { EXPECT_EQ(ZorIntfEnum(258, &list_), ZOR_SUCCESS); });
  EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_TRANSPORT_FAILURE);
  ASSERT_EQ(list_.count, 2U);
  EXPECT_STREQ(list_.items[1], "private");
}

constexpr std::uint32_t kNoFaultBox = 2;  // SEM_NOGPFAULTERRORBOX

class ErrorModeTest : public SearchTest {
 protected:
  ErrorModeTest() {
    InstallDriver(L"1.0.0.5");
    folder_ = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
    ServeAlgorithms({"general"});
    TheModules().error_mode = kNoFaultBox;
  }

  /// The error modes of the loads of one search, which leaves the thread's as it was.
  std::vector<std::uint32_t> ModesOfLoads() {
    EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_SUCCESS);
    EXPECT_EQ(TheModules().error_mode, kNoFaultBox);
    return TheModules().error_modes_of_loads;
  }

  std::wstring folder_;
};

TEST_F(ErrorModeTest, LetsNoBoxAppearWhileALibraryLoads) {
  AddLibrary(folder_, L"K270502.dll");
  EXPECT_THAT(ModesOfLoads(), ElementsAre(kNoFaultBox | 1U));
}

TEST_F(ErrorModeTest, IsRestoredAfterALibraryThatDoesNotLoad) {
  scripted::TheDirectories().directories[folder_].entries = {L"K270502.dll", L"K270506.dll"};
  EXPECT_THAT(ModesOfLoads(), ElementsAre(kNoFaultBox | 1U, kNoFaultBox | 1U));
}

TEST_F(ErrorModeTest, IsTheThreadsOwnWhileALibraryIsAsked) {
  static std::uint32_t mode = 0;
  AddLibrary(folder_, L"K270502.dll", [](void* /*record*/) -> std::int32_t {
    mode = TheModules().error_mode;
    return 1;
  });
  EXPECT_THAT(ModesOfLoads(), ElementsAre(kNoFaultBox | 1U));
  EXPECT_EQ(mode, kNoFaultBox);
}

}  // namespace
}  // namespace zor
