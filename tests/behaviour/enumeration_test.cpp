// Lists of names: what the server has, and with selector 2 what this machine has of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::ListOf;
using testing::Request;
using Names = std::vector<std::string>;
using Slot = std::optional<std::string>;

constexpr std::uint32_t kAlgorithms = 2;
constexpr const char* kNoSuchVersion = "[zor] Failed to get version matched APO driver path\n";

class Enumeration : public ::testing::Test {
 protected:
  /// The list's memory goes with the next call that succeeds.
  void TearDown() override {
    server_.Answer(Reply{});
    EXPECT_EQ(library_->Enum(0, &list_), ZOR_SUCCESS);
    ExpectEmptyList();
  }

  ZorResult EnumerateWith(const Reply& reply, std::uint32_t selector = kAlgorithms) {
    server_.Answer(reply);
    return library_->Enum(selector, &list_);
  }
  /// With a server that has these.
  ZorResult Enumerate(const Names& names, std::uint32_t selector = kAlgorithms) {
    return EnumerateWith(ListOf(names), selector);
  }

  /// What the call wrote to the log besides the connection's line.
  std::vector<std::string> LogOf(const Names& algorithms, ZorResult expected = ZOR_SUCCESS) {
    rig_.log().Clear();
    EXPECT_EQ(Enumerate(algorithms), expected);
    std::vector<std::string> lines = rig_.log().Mine();
    std::erase(lines, "[zor] ConnectToServer() was successful.\n");
    return lines;
  }

  /// The list's names, and nothing for a slot without one.
  [[nodiscard]] std::vector<Slot> Slots() const {
    std::vector<Slot> slots;
    for (const char* name : std::span(list_.items, list_.count)) {
      slots.push_back(name == nullptr ? Slot() : Slot(name));
    }
    return slots;
  }

  void ExpectEmptyList() const {
    EXPECT_EQ(list_.count, 0U);
    EXPECT_EQ(list_.items, nullptr);
  }

  /// A driver, and the package of the same version with libraries of these names: its folder.
  std::wstring InstallLibraries(const std::vector<std::wstring>& files) {
    machine_.InstallDriver(L"1.0.0.5");
    std::wstring package = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    for (const std::wstring& file : files) machine_.AddLibrary(package, file);
    return package;
  }

  Rig rig_;
  Machine machine_;
  RequestServer server_;
  Library library_;
  ZorNameList list_ = {};
};

/// The lists that concern the server alone.
class PlainList : public Enumeration {};

/// The errors of the search of the machine.
class SearchThatFails : public Enumeration {};

TEST_F(PlainList, HoldsTheNamesInTheServersOrder) {
  EXPECT_EQ(Enumerate({"general", "private", "", "th\xEFrd"}, 1), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", "private", "", "th\xEFrd"));
  EXPECT_THAT(Request(server_.Requests().back()).Fields(),
              ElementsAre(messages::CallMessage::VT_FUNC_NAME, messages::CallMessage::VT_ENUM_TYPE,
                          messages::CallMessage::VT_STATUS));
}

TEST_F(PlainList, IsAskedForWithTheLowEightBitsOfTheSelector) {
  InstallLibraries({L"K270502.dll"});
  // 258 looks like 2 to the server only.
  for (const std::uint32_t selector : {0U, 1U, 3U, 255U, 256U, 258U, 0x301U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Enumerate({"c", "b", "a"}, selector), ZOR_SUCCESS);
    EXPECT_THAT(Slots(), ElementsAre("c", "b", "a"));
    const Request request(server_.Requests().back());
    EXPECT_EQ(request->enum_type(), selector & 0xFFU);
  }
  EXPECT_FALSE(machine_.WasAsked());
}

TEST_F(PlainList, HasAsManySlotsAsTheCountWhateverTheNumberOfNames) {
  for (const auto& [count, names, slots] :
       {std::tuple(4U, std::optional(Names{"a", "b"}), std::vector<Slot>{"a", "b", {}, {}}),
        std::tuple(2U, std::optional(Names{"a", "b", "c"}), std::vector<Slot>{"a", "b"}),
        std::tuple(2U, std::optional<Names>(), std::vector<Slot>{{}, {}})}) {
    EXPECT_EQ(EnumerateWith({.enum_result = Reply::Names{count, names}}, 0), ZOR_SUCCESS);
    EXPECT_EQ(Slots(), slots);
  }
}

TEST_F(PlainList, FillsAReply) {
  Names names;
  const auto size = [&names] { return Build(ListOf(names)).size(); };
  while (size() <= 1024) names.push_back("algorithm " + std::to_string(names.size()));
  names.pop_back();
  EXPECT_EQ(Enumerate(names, 1), ZOR_SUCCESS);
  EXPECT_EQ(Slots(), std::vector<Slot>(names.begin(), names.end()));
}

TEST_F(PlainList, IsEmptiedByAReplyWithoutAListOrWithACountOf0) {
  machine_.InstallDriver(L"1.0.0.5");
  for (const std::uint32_t selector : {0U, kAlgorithms}) {
    for (const auto& result : {std::optional<Reply::Names>(), std::optional(Reply::Names{}),
                               std::optional(Reply::Names{.count = 0, .names = {{"general"}}})}) {
      EXPECT_EQ(Enumerate({"general"}, 0), ZOR_SUCCESS);
      EXPECT_EQ(list_.count, 1U);
      EXPECT_EQ(EnumerateWith({.enum_result = result}, selector), ZOR_SUCCESS);
      ExpectEmptyList();
    }
  }
  // Then the machine is not looked at, either.
  EXPECT_FALSE(machine_.WasAsked());
}

TEST_F(PlainList, WithoutItemsHasItsCountSetAnyway) {
  for (const std::uint32_t selector : {0U, kAlgorithms}) {
    list_.count = 7;
    EXPECT_EQ(EnumerateWith({}, selector), ZOR_SUCCESS);
    ExpectEmptyList();
  }
}

TEST_F(PlainList, IsKeptWhenTheServerRefusesOrTheReplyIsInvalid) {
  machine_.InstallDriver(L"1.0.0.5");
  EXPECT_EQ(Enumerate({"a", "b"}, 0), ZOR_SUCCESS);
  char** const items = list_.items;
  for (const std::uint32_t selector : {0U, kAlgorithms}) {
    rig_.log().Clear();
    EXPECT_EQ(EnumerateWith(testing::FullReply(5), selector), 5U);
    server_.Answer(Bytes{1, 2, 3, 4, 5});
    EXPECT_EQ(library_->Enum(selector, &list_), ZOR_TRANSPORT_FAILURE);
    EXPECT_THAT(rig_.log().Mine(),
                ElementsAre("[zor] [RpcClient::ZorIntfEnum] The ZorRet: 5\n",
                            "[zor] [RpcClient::ZorIntfEnum] The IPC gotten data is invalid\n"));
    EXPECT_EQ(list_.items, items);
    EXPECT_THAT(Slots(), ElementsAre("a", "b"));
  }
  EXPECT_FALSE(machine_.WasAsked());
}

// --- The driver

TEST_F(Enumeration, WithoutADriverIsTheServersList) {
  EXPECT_THAT(LogOf({"general", "private"}),
              ElementsAre("[zor] Failed to get Zorvane APO driver version\n"));
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
  machine_.InstallDriver(L"1.0.0.5", L"SWC\\VEN_ZOR&CID_APO2");
  EXPECT_THAT(LogOf({"general"}), ElementsAre("[zor] Failed to get Zorvane APO driver version\n"));
}

TEST_F(Enumeration, FindsTheDriverByItsHardwareIdInAnyCase) {
  machine_.AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  machine_.InstallDriver(L"1.0.0.5", L"swc\\ven_zor&cid_apo");
  EXPECT_THAT(LogOf({"general"}), IsEmpty());
}

// --- The driver store

TEST_F(Enumeration, TakesThePackageOfTheDriversVersion) {
  machine_.InstallDriver(L"1.0.0.5");
  machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.4");
  const auto package = machine_.AddPackageOfVersion(L"ZORAPO.INF_amd64_2", "1.0.0.5");
  machine_.AddPackageOfVersion(L"zorapo.inf_amd64_3", "1.0.0.7");
  machine_.AddLibrary(package, L"K270502.dll");
  EXPECT_THAT(LogOf({"general", "private"}), IsEmpty());
  EXPECT_THAT(Slots(), ElementsAre("general"));
  EXPECT_EQ(machine_.LibraryDirectory(), package);
}

TEST_F(Enumeration, TakesTheBestPackageWhenNoneIsTheDrivers) {
  machine_.InstallDriver(L"9.9.9.9");
  const auto package = machine_.AddPackageOfVersion(L"zorapo.inf_1", "1.5.0.0");
  machine_.AddPackageOfVersion(L"zorapo.inf_2", "2.0.0.0");
  machine_.AddLibrary(package, L"K270502.dll");
  EXPECT_THAT(LogOf({"general", "private"}), ElementsAre(kNoSuchVersion));
  EXPECT_EQ(machine_.LibraryDirectory(), package);
}

TEST_F(Enumeration, ReadsTheVersionInTheFirstLineOfAnInfFileThatNamesIt) {
  machine_.InstallDriver(L"1.0.0.5");
  for (const std::string_view text :
       {"[Version]\r\nDriverVer=06/21/2023,1.0.0.5\r\n", "[Version]\nDriverVer=06/21/2023,1.0.0.5",
        "\xEF\xBB\xBF; \xE2\x82\xAC DriverVer 1.0.0.5\r\n", "DriverVer=06.21.2023,1.0.0.5\r\n",
        "DriverVer=\x80\xFF,1.0.0.5\r\n", "DriverVersion 1.0.0.5.6\r\n"}) {
    machine_.AddPackage(L"zorapo.inf_1", text);
    EXPECT_THAT(LogOf({"general"}), IsEmpty()) << text;
  }
}

TEST_F(Enumeration, FindsNoVersionInAnInfFileWhoseFirstLineHasNone) {
  machine_.InstallDriver(L"1.0.0.5");
  std::string wide("\xFF\xFE");
  for (const char c : std::string("DriverVer=06/21/2023,1.0.0.5\r\n")) wide += {c, '\0'};
  for (const std::string& text :
       {std::string("; DriverVer\r\nDriverVer=06/21/2023,1.0.0.5\r\n"),
        std::string("driverver=06/21/2023,1.0.0.5\r\n"),
        std::string("DriverVer=\0,1.0.0.5\r\n", 21), wide, std::string()}) {
    machine_.AddPackage(L"zorapo.inf_1", text);
    EXPECT_THAT(LogOf({"general"}), ElementsAre(kNoSuchVersion)) << text;
  }
}

TEST_F(Enumeration, SaysThatTheStoreHasNoPackage) {
  machine_.InstallDriver(L"1.0.0.5");
  machine_.AddPackageOfVersion(L"other.inf_amd64_1", "1.0.0.5");
  EXPECT_THAT(LogOf({"general"}), ElementsAre("[zor] No Zorvane APO driver is found\n"));
}

TEST_F(Enumeration, SaysThatTheSystemRootIsMissing) {
  machine_.InstallDriver(L"1.0.0.5");
  machine_.RemoveSystemRoot();
  EXPECT_THAT(LogOf({"general"}), ElementsAre("[zor] Failed to get systemroot variable\n"));
}

// --- The libraries

TEST_F(Enumeration, WithoutAnyLibraryIsTheServersList) {
  InstallLibraries({});
  EXPECT_THAT(LogOf({"general", "private"}), IsEmpty());
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
}

TEST_F(Enumeration, WithAsManyLibrariesIsTheServersList) {
  InstallLibraries({L"K250902.dll", L"K030806.dll"});
  EXPECT_EQ(Enumerate({"general", "private"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", "private"));
}

TEST_F(Enumeration, ShowsTheAlgorithmsThatAreLocal) {
  InstallLibraries({L"K270502.dll", L"K030806.dll"});
  EXPECT_EQ(Enumerate({"General", "private", "whisper"}), ZOR_SUCCESS);
  // The third row's slot lies outside the list.
  EXPECT_THAT(Slots(), ElementsAre("General", Slot()));
}

TEST_F(Enumeration, NamesALibraryWhenItAnswers) {
  const auto package =
      InstallLibraries({L"K030806.dll", L"K999999.dll", L"general.dll", L"k270502.DLL"});
  machine_.AddLibrary(package, L"K250902.dll", Algorithm::kRefuses);
  machine_.AddLibrary(package, L"K250906.dll", Algorithm::kWithoutEntry);
  machine_.AddLibrary(package, L"K250B06.dll", Algorithm::kDoesNotLoad);
  EXPECT_THAT(LogOf({"whisper", "general", "private"}), IsEmpty());
  EXPECT_THAT(Slots(), ElementsAre("whisper", "general"));
}

TEST_F(Enumeration, CountsEveryLibraryOfAnAlgorithm) {
  InstallLibraries({L"K270502.dll", L"K270506.dll"});
  EXPECT_EQ(Enumerate({"general"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("general", Slot()));
}

TEST_F(Enumeration, TakesALibraryThatTheServerDoesNotKnowForTheLengthOnly) {
  InstallLibraries({L"K270502.dll"});
  EXPECT_EQ(Enumerate({"a", "b"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre(Slot()));
}

TEST_F(Enumeration, ReadsTheMachineAtEveryCall) {
  const auto package = InstallLibraries({L"K270502.dll"});
  EXPECT_EQ(Enumerate({"listen", "general"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre(Slot()));
  machine_.AddLibrary(package, L"K250902.dll");
  machine_.AddLibrary(package, L"K030806.dll");
  EXPECT_EQ(Enumerate({"listen", "general"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("listen", "general", "listen"));
}

TEST_F(Enumeration, StaysInsideItsSlotsWhateverTheServersCount) {
  EXPECT_EQ(EnumerateWith({.enum_result = Reply::Names{2, {{"a", "b", "c"}}}}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("a", "b"));
  EXPECT_EQ(EnumerateWith({.enum_result = Reply::Names{4, {{"d"}}}}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("d", "b", "c", Slot()));
}

// --- The search

TEST_F(SearchThatFails, Returns1AndEmptiesTheListForAStoreThatCannotBeListed) {
  machine_.InstallDriver(L"1.0.0.5");
  EXPECT_EQ(Enumerate({"a"}), ZOR_SUCCESS);
  machine_.RemoveStore();
  EXPECT_THAT(LogOf({"general"}, ZOR_TRANSPORT_FAILURE), IsEmpty());
  ExpectEmptyList();
}

TEST_F(SearchThatFails, Returns1AndEmptiesTheListForAVersionThatIsNoNumber) {
  EXPECT_EQ(Enumerate({"a"}), ZOR_SUCCESS);
  machine_.InstallDriver(L"1..0.5");
  EXPECT_THAT(LogOf({"general"}, ZOR_TRANSPORT_FAILURE), IsEmpty());
  ExpectEmptyList();
}

TEST_F(SearchThatFails, Returns1AndEmptiesTheListForAVersionThatIsTooLarge) {
  machine_.InstallDriver(L"1.0.0.5");
  machine_.AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.4294967296");
  EXPECT_THAT(LogOf({"general"}, ZOR_TRANSPORT_FAILURE), IsEmpty());
  ExpectEmptyList();
}

}  // namespace
}  // namespace zor::rig
