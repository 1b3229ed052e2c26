#include <gmock/gmock.h>

#include <new>
#include <optional>

#include "discovery/algorithm_id_table.h"
#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::Function;
using scripted::TheCalls;
using scripted::TheDirectories;
using scripted::TheDrivers;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Reply;
using ::testing::UnorderedElementsAre;

constexpr std::uint32_t kAlgorithms = 2;
using Slot = std::optional<std::string>;

class EnumerationTest : public scripted::MachineTest {
 protected:
  /// The list's memory goes with the next successful call.
  void TearDown() override {
    AnswerWith(testing::Build(Reply{}));
    EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
    EXPECT_EQ(list_.items, nullptr);
    MachineTest::TearDown();
  }

  ZorResult Enumerate(std::uint32_t selector = kAlgorithms) {
    return ZorIntfEnum(selector, &list_);
  }

  /// A package with libraries of these names, and its driver.
  void InstallLibraries(const std::vector<std::wstring>& files) {
    InstallDriver(L"1.0.0.5");
    folder_ = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
    for (const auto& file : files) AddLibrary(folder_, file);
  }

  [[nodiscard]] std::vector<Slot> Slots() const {
    std::vector<Slot> slots;
    for (std::uint32_t i = 0; i < list_.count; ++i) {
      slots.push_back(list_.items[i] == nullptr ? Slot() : Slot(list_.items[i]));
    }
    return slots;
  }

  static std::vector<int> AppIds() {
    std::vector<int> ids;
    for (const auto& row : TheLibrary().algorithm_ids) ids.push_back(row.app_id);
    return ids;
  }

  void ExpectEmptyList() const {
    EXPECT_EQ(list_.count, 0U);
    EXPECT_EQ(list_.items, nullptr);
  }

  ZorNameList list_ = {};
  std::wstring folder_;
};

TEST_F(EnumerationTest, KeepsTheServersPositionsAndWhatIsLocal) {
  ServeAlgorithms({"a", "b"});
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_THAT(AppIds(), IsEmpty());
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(AppIds(), ElementsAre(0, 1));
  InstallLibraries({L"K270502.dll", L"K030806.dll"});
  ServeAlgorithms({"General", "private", "whisper"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(AppIds(), ElementsAre(0, 1, 2, -1, 4));
  InstallDriver(L"1..3.4");
  TheDrivers().rows.erase(TheDrivers().rows.begin());
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  EXPECT_THAT(AppIds(), ElementsAre(0, 1, 2, -1, 4));
}

TEST_F(EnumerationTest, FreesEveryNameOfTheListBefore) {
  ServeAlgorithms({"a", "b", "c"});
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 4U);
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 2U);
}

TEST_F(EnumerationTest, ALibrarysNameWithoutAConversionIsEmpty) {
  InstallLibraries({L"K270502.dll"});
  ServeAlgorithms({"general", ""});
  // From the moment on at which the names are converted, which nothing else is any more.
  TheDirectories().directories[folder_].entries = {L"K270502.dll"};
  scripted::TheModules().files[folder_ + L"\\K270502.dll"].information = [](void*) -> std::int32_t {
    scripted::FailConversions(true);
    return 0;
  };
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(AppIds(), ElementsAre(-1, 1));
}

TEST_F(EnumerationTest, CopiesOneNameForASlotThatManyRowsShare) {
  ServeAlgorithms({"a", "b"});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_EQ(TheLibrary().algorithm_ids.size(), 10U);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
  EXPECT_EQ(TheHeap().BlockCount(), 3U);
}

// The errors of the search.

TEST_F(EnumerationTest, AnswersOneForADriverStoreThatCannotBeListed) {
  InstallDriver(L"1.2.3.4");
  ServeAlgorithms({"a"});
  TheDirectories().directories[store()].open_error = scripted::kErrorAccessDenied;
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  ExpectEmptyList();
  TheDirectories().directories[store()] = {.entries = {L"a", L"b"}, .fails_after = 1};
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  ExpectEmptyList();
}

TEST_F(EnumerationTest, AnswersOneForAPackageThatCannotBeListed) {
  InstallLibraries({L"K270502.dll"});
  TheDirectories().directories.erase(folder_);
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  ExpectEmptyList();
  EXPECT_THAT(AppIds(), IsEmpty());
}

TEST_F(EnumerationTest, LetsThroughThatThereIsNoMemoryAndKeepsAValidList) {
  ServeAlgorithms({"a", "b"});
  ASSERT_EQ(Enumerate(0), ZOR_SUCCESS);  // connects, which logs
  for (int nth = 1; nth <= 3; ++nth) {
    for (const std::uint32_t selector : {0U, kAlgorithms}) {
      // That there is no driver is logged, with two allocations.
      const int before = selector == kAlgorithms ? 2 : 0;
      TheCalls().Fail(Function::kHeapAllocate, 8, before + nth);
      EXPECT_THROW(static_cast<void>(Enumerate(selector)), std::bad_alloc);
      EXPECT_EQ(list_.count, nth == 1 ? 0U : 2U);
      if (nth == 3) {
        EXPECT_THAT(Slots(), ElementsAre("a", Slot()));
      }
    }
  }
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
}

TEST_F(EnumerationTest, LetsThroughThatNoListIsAsLongAsTheServerSays) {
  ServeAlgorithms({"a"}, 0xFFFFFFFF);
  for (const std::uint32_t selector : {0U, kAlgorithms}) {
    EXPECT_THROW(static_cast<void>(Enumerate(selector)), std::bad_alloc);
    ExpectEmptyList();
  }
}

}  // namespace
}  // namespace zor
