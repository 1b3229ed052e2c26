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

  static void AnswerWithNames(std::optional<Reply::Names> names) {
    Reply reply;
    reply.enum_result = std::move(names);
    AnswerWith(testing::Build(reply));
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

TEST_F(EnumerationTest, SendsTheSelectorsLowEightBits) {
  ServeAlgorithms({"a"});
  for (const auto& [selector, sent] :
       {std::pair(0U, 0), std::pair(2U, 2), std::pair(255U, 255), std::pair(258U, 2)}) {
    EXPECT_EQ(Enumerate(selector), ZOR_SUCCESS);
    const auto written = ThePipes().TakeWritten(kRequestPipe);
    ASSERT_EQ(written.size(), 1U);
    const auto* request = flatbuffers::GetRoot<messages::CallMessage>(written[0].data());
    EXPECT_EQ(request->func_name()->string_view(), "ZorIntfEnum");
    EXPECT_EQ(request->enum_type(), sent);
    EXPECT_EQ(request->status(), 7);
  }
}

TEST_F(EnumerationTest, OfAnotherSelectorIsTheServersList) {
  InstallLibraries({L"K270502.dll"});
  ServeAlgorithms({"c", "b", "a"});
  // 258 looks like 2 to the server only.
  for (const std::uint32_t selector : {0U, 1U, 3U, 258U}) {
    EXPECT_EQ(Enumerate(selector), ZOR_SUCCESS);
    EXPECT_THAT(Slots(), ElementsAre("c", "b", "a"));
  }
  EXPECT_THAT(AppIds(), IsEmpty());
  EXPECT_THAT(TheDrivers().calls, IsEmpty());
}

TEST_F(EnumerationTest, OfAnotherSelectorStaysInsideItsSlots) {
  ServeAlgorithms({"a", "b", "c"}, 2);
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
  ServeAlgorithms({"a"}, 3);
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", Slot(), Slot()));
  AnswerWithNames(Reply::Names{2, std::nullopt});
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre(Slot(), Slot()));
}

TEST_F(EnumerationTest, WithoutADriverIsTheServersList) {
  ServeAlgorithms({"general", "private"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
  EXPECT_THAT(AppIds(), ElementsAre(0, 1));
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get Zorvane APO driver version\n"));
}

TEST_F(EnumerationTest, WithoutAnyLibraryIsTheServersList) {
  InstallLibraries({});
  ServeAlgorithms({"general", "private"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
  EXPECT_THAT(AppIds(), ElementsAre(0, 1));
}

TEST_F(EnumerationTest, WithAsManyLibrariesIsTheServersList) {
  InstallLibraries({L"K250902.dll", L"K030806.dll"});
  ServeAlgorithms({"general", "private"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
  EXPECT_THAT(AppIds(), ElementsAre(0, 1));
}

TEST_F(EnumerationTest, ShowsTheAlgorithmsThatAreLocal) {
  InstallLibraries({L"K270502.dll", L"K030806.dll"});
  ServeAlgorithms({"General", "private", "whisper"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  // The third row's slot lies outside the list.
  EXPECT_THAT(Slots(), ElementsAre("General", Slot()));
  EXPECT_THAT(AppIds(), ElementsAre(0, -1, 2));
}

TEST_F(EnumerationTest, ReadsTheMachineAtEveryCall) {
  InstallLibraries({L"K270502.dll"});
  ServeAlgorithms({"listen", "general"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre(Slot()));
  AddLibrary(folder_, L"K250902.dll");
  AddLibrary(folder_, L"K030806.dll");
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("listen", "general", "listen"));
  EXPECT_THAT(AppIds(), ElementsAre(0, 1, 2, 3));
}

TEST_F(EnumerationTest, ALibraryThatTheServerDoesNotKnowOnlyChangesTheLength) {
  InstallLibraries({L"K270502.dll"});
  ServeAlgorithms({"a", "b"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre(Slot()));
  EXPECT_THAT(AppIds(), ElementsAre(-1, -1));
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

TEST_F(EnumerationTest, StaysInsideItsSlotsWhateverTheServersCount) {
  ServeAlgorithms({"a", "b", "c"}, 2);
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
  EXPECT_THAT(AppIds(), ElementsAre(0, 1, 2));
  ServeAlgorithms({"d"}, 4);
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("d", "b", "c", Slot()));
}

TEST_F(EnumerationTest, WithoutNamesIsEmpty) {
  InstallLibraries({L"K270502.dll"});
  for (const auto& result : {std::optional<Reply::Names>(), std::optional(Reply::Names{0, {{"a"}}}),
                             std::optional(Reply::Names{})}) {
    ServeAlgorithms({"general"});
    EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
    EXPECT_EQ(list_.count, 1U);
    AnswerWithNames(result);
    EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
    ExpectEmptyList();
  }
  // Then the machine is not looked at, either.
  EXPECT_THAT(TheDrivers().calls, IsEmpty());
  EXPECT_THAT(AppIds(), IsEmpty());
}

TEST_F(EnumerationTest, FreesThePreviousList) {
  ServeAlgorithms({"a", "b", "c"});
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 4U);
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 2U);
}

TEST_F(EnumerationTest, TakesACountWithoutItemsForAnEmptyList) {
  list_.count = 5;
  AnswerWith(testing::Build(Reply{}));
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  ExpectEmptyList();
}

TEST_F(EnumerationTest, ThatFailsLeavesThePreviousList) {
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(0), ZOR_SUCCESS);
  char** const items = list_.items;
  const char* const name = items[0];

  Reply failure;
  failure.result = 5;
  AnswerWith(testing::Build(failure));
  EXPECT_EQ(Enumerate(), 5U);
  AnswerWith({1, 2, 3, 4, 5});
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  TheCalls().Fail(Function::kWritePipe, 232);
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  EXPECT_EQ(list_.count, 1U);
  EXPECT_EQ(list_.items, items);
  EXPECT_EQ(list_.items[0], name);
  EXPECT_THAT(TheOutput().TakeNarrow(),
              ElementsAre("[zor] ConnectToServer() was successful.\n",
                          "[zor] [RpcClient::ZorIntfEnum] The ZorRet: 5\n",
                          "[zor] [RpcClient::ZorIntfEnum] The IPC gotten data is invalid\n"));
  EXPECT_THAT(TheDrivers().calls, IsEmpty());
}

// The errors of the search.

TEST_F(EnumerationTest, AnswersOneWithAnEmptyListForAVersionThatIsNoNumber) {
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  InstallDriver(L"1..3.4");
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  ExpectEmptyList();
  EXPECT_THAT(AppIds(), ElementsAre(0));
}

TEST_F(EnumerationTest, AnswersOneForAVersionThatIsTooLarge) {
  InstallDriver(L"1.2.3.4");
  AddPackageOfVersion(L"zorapo.inf_1", "1.2.3.4294967296");
  ServeAlgorithms({"a"});
  EXPECT_EQ(Enumerate(), ZOR_TRANSPORT_FAILURE);
  ExpectEmptyList();
}

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
    }
  }
  EXPECT_EQ(Enumerate(), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
}

TEST_F(EnumerationTest, LetsThroughThatNoListIsAsLongAsTheServerSays) {
  ServeAlgorithms({"a"}, 0xFFFFFFFF);
  EXPECT_THROW(static_cast<void>(Enumerate()), std::bad_alloc);
  ExpectEmptyList();
}

}  // namespace
}  // namespace zor
