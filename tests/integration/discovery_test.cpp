// ZorIntfEnum with selector 2 on a machine with a driver: COM objects, folders, INF files and
// algorithm libraries are all real.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/kit/messages.h"

namespace zor::testing {
namespace {

/// Threads that end take their handles with them a moment later.
bool HandlesFallTo(int handles) {
  constexpr auto kAny = std::numeric_limits<std::size_t>::max();
  const Usage limit{std::numeric_limits<int>::max(), handles, kAny, kAny};
  return SettleWithin(limit, kPatienceMs).handles <= handles;
}

using std::filesystem::path;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Slot = std::optional<std::string>;

constexpr std::uint32_t kAlgorithms = 2;

class DiscoveryTest : public ::testing::Test {
 protected:
  void TearDown() override {
    // The list's memory goes with the next successful call.
    if (list_.items != nullptr) {
      EXPECT_EQ(EnumerateWith(Build(Reply{})), ZOR_SUCCESS);
      ExpectEmptyList();
    }
    EXPECT_EQ(wmi_.live_objects, 0);
  }

  ZorResult EnumerateWith(Bytes reply, std::uint32_t selector = kAlgorithms) {
    server_.Answer(std::move(reply));
    return library_->Enum(selector, &list_);
  }
  /// With a server that has these.
  ZorResult Enumerate(const std::vector<std::string>& algorithms) {
    return EnumerateWith(Build(ListOf(algorithms)));
  }

  void InstallDriver(const std::wstring& version) {
    wmi_.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                         {L"DriverVersion", {.text = version}}});
  }
  /// A driver and the package of the same version.
  path InstallPackage() {
    InstallDriver(L"1.0.0.5");
    return machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
  }

  [[nodiscard]] std::vector<Slot> Slots() const {
    std::vector<Slot> slots;
    for (std::uint32_t i = 0; i < list_.count; ++i) {
      slots.push_back(list_.items[i] == nullptr ? Slot() : Slot(list_.items[i]));
    }
    return slots;
  }
  void ExpectEmptyList() const {
    EXPECT_EQ(list_.count, 0U);
    EXPECT_EQ(list_.items, nullptr);
  }

  /// What the call wrote to the debug log besides the connection's line.
  std::vector<std::string> LogOf(const std::vector<std::string>& algorithms,
                                 ZorResult expected = ZOR_SUCCESS) {
    const DebugCapture capture;
    EXPECT_EQ(Enumerate(algorithms), expected);
    std::vector<std::string> lines = capture.Mine();
    std::erase(lines, "[zor] ConnectToServer() was successful.\n");
    return lines;
  }

  Com com_;
  WmiStandIn wmi_;
  Machine machine_;
  RequestServer server_;
  LoadedLibrary library_;
  ZorNameList list_ = {};
};

// --- The query

TEST_F(DiscoveryTest, TheQueryIsMadeAsTheServiceExpectsIt) {
  InstallPackage();
  EXPECT_THAT(LogOf({"general"}), IsEmpty());
  EXPECT_THAT(wmi_.calls, ElementsAre(L"CreateInstance", L"ConnectServer ROOT\\CIMV2",
                                      L"SetBlanket 10 0 none 3 3 none 0",
                                      L"ExecQuery WQL, SELECT * FROM Win32_PnpSignedDriver, 48",
                                      L"Next -1 1", L"Get HardwareID", L"Get DriverVersion"));
}

TEST_F(DiscoveryTest, EachStepThatFailsHasItsLineAndReleasesWhatWasThere) {
  InstallPackage();
  struct Step {
    HRESULT WmiStandIn::*result;
    const char* line;
  };
  for (const auto& [result, line] : {
           Step{&WmiStandIn::create_locator, "[zor] Faild to create locator, 0x80041003\n"},
           Step{&WmiStandIn::connect_server, "[zor] Faild to connect server, 0x80041003\n"},
           Step{&WmiStandIn::set_blanket, "[zor] Faild to set proxy blanket, 0x80041003\n"},
           Step{&WmiStandIn::exec_query, "[zor] Faild to query WMI command, 0x80041003\n"},
       }) {
    wmi_.*result = kWmiAccessDenied;
    EXPECT_THAT(LogOf({"general"}), ElementsAre(line));
    EXPECT_EQ(wmi_.live_objects, 0);
    EXPECT_THAT(Slots(), ElementsAre("general"));
    wmi_.*result = S_OK;
  }
}

TEST_F(DiscoveryTest, AnySuccessIsASuccess) {
  const path package = InstallPackage();
  Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
  wmi_.create_locator = wmi_.connect_server = wmi_.set_blanket = wmi_.exec_query = S_FALSE;
  // Of this one not even a failure counts.
  wmi_.next = kWmiFailed;
  EXPECT_THAT(LogOf({"x", "general"}), IsEmpty());
  EXPECT_THAT(Slots(), ElementsAre(Slot()));
}

TEST(DiscoveryWithoutCom, ThereIsNoDriver) {
  RequestServer server;
  const LoadedLibrary library;
  const DebugCapture capture;
  ZorNameList list = {};
  server.Answer(Build(Reply{.enum_result = Reply::Names{1, {{"general"}}}}));
  EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_SUCCESS);
  ASSERT_EQ(list.count, 1U);
  EXPECT_STREQ(list.items[0], "general");
  // Which of the two steps notices depends on the system.
  EXPECT_THAT(capture.Mine(), ElementsAre("[zor] ConnectToServer() was successful.\n",
                                          AnyOf("[zor] Faild to initialize security, 0x800401F0\n",
                                                "[zor] Faild to create locator, 0x800401F0\n")));
  EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_SUCCESS);
}

TEST_F(DiscoveryTest, NoRowWithTheHardwareIdIsNoDriver) {
  wmi_.rows = {{},
               {{L"HardwareID", {}}},
               {{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO2"}}},
               {{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO", .result = kWmiFailed}}},
               {{L"HardwareID", {.stores = false}}}};
  EXPECT_THAT(LogOf({"general"}), ElementsAre("[zor] Failed to get Zorvane APO driver version\n"));
}

TEST_F(DiscoveryTest, AVersionThatIsNoStringIsEmpty) {
  wmi_.rows = {{{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}}, {L"DriverVersion", {}}}};
  EXPECT_THAT(LogOf({"general"}),
              ElementsAre("[zor] Zorvane APO driver is found but driver version is empty\n"));
}

TEST_F(DiscoveryTest, AVersionThatCannotBeReadLeavesTheHardwareIdWhichIsNone) {
  machine_.AddPackageOfVersion(L"zorapo.inf_1", "0.0.0.0");
  wmi_.rows = {{{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}}}};
  EXPECT_THAT(LogOf({"general"}), IsEmpty());
}

TEST_F(DiscoveryTest, ReleasesEveryString) {
  // Each of them a megabyte: three rows, read thirty times over.
  const std::wstring large(512 * 1024, L'x');
  wmi_.rows = {{{L"HardwareID", {.text = large}}},
               {{L"HardwareID", {.text = large, .result = kWmiFailed}}}};
  InstallDriver(large);
  EXPECT_EQ(Enumerate({"general"}), ZOR_SUCCESS);
  const std::size_t before = Usage::Now().heap_bytes;
  for (int i = 0; i < 30; ++i) EXPECT_EQ(Enumerate({"general"}), ZOR_SUCCESS);
  EXPECT_LT(Usage::Now().heap_bytes, before + 4 * large.size() * sizeof(wchar_t));
}

// --- The driver store

TEST_F(DiscoveryTest, EntriesWithoutAnInfFileAreSkipped) {
  InstallDriver(L"1.0.0.5");
  std::ofstream(machine_.store() / L"ZORAPO.INF_file") << "DriverVer=1.0.0.5";
  std::filesystem::create_directories(machine_.store() / L"zorapo.inf_folder" / L"zorapo.inf");
  EXPECT_THAT(LogOf({"general"}),
              ElementsAre("[zor] Failed to get version matched APO driver path\n"));
}

// --- The libraries

TEST_F(DiscoveryTest, LibrariesAreNamedWhenTheyAnswer) {
  const path package = InstallPackage();
  Machine::AddLibrary(package, L"K030806.dll", L"zor_test_answers.dll");
  Machine::AddLibrary(package, L"K250902.dll", L"zor_test_refuses.dll");
  Machine::AddLibrary(package, L"K250906.dll", L"zor_test_without_entry.dll");
  Machine::AddLibrary(package, L"K250B06.dll", L"zor_test_does_not_load.dll");
  Machine::AddLibrary(package, L"K999999.dll", L"zor_test_answers.dll");
  Machine::AddLibrary(package, L"general.dll", L"zor_test_answers.dll");
  Machine::AddLibrary(package, L"k270502.DLL", L"zor_test_answers.dll");
  std::ofstream(package / L"K270506.dll") << "no library";
  std::filesystem::create_directories(package / L"K270C02.dll");
  std::ofstream(package / L"readme.txt") << "no library";

  EXPECT_THAT(LogOf({"whisper", "general", "private"}), IsEmpty());
  EXPECT_THAT(Slots(), ElementsAre("whisper", "general"));
  for (const auto& entry : std::filesystem::directory_iterator(package)) {
    EXPECT_EQ(GetModuleHandleW(entry.path().c_str()), nullptr) << entry.path();
  }
}

TEST_F(DiscoveryTest, ALibraryFindsWhatItNeedsInThePackage) {
  const path package = InstallPackage();
  Machine::AddLibrary(package, L"K270502.dll", L"zor_test_needs_helper.dll");
  EXPECT_EQ(Enumerate({"x", "general"}), ZOR_SUCCESS);
  EXPECT_THAT(Slots(), ElementsAre("x", "general"));

  Machine::AddLibrary(package, L"zor_test_helper.dll", L"zor_test_helper.dll");
  EXPECT_EQ(Enumerate({"x", "general"}), ZOR_SUCCESS);
  EXPECT_EQ(list_.count, 1U);
  EXPECT_EQ(path(LibraryDirectory()), package);
}

// --- The list and the ids

TEST_F(DiscoveryTest, RepeatedCallsLeakNothing) {
  const path package = InstallPackage();
  Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
  std::ofstream(package / L"K270506.dll") << "no library";
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Enumerate({"general", "private"}), ZOR_SUCCESS);
  const int handles = Usage::Now().handles;
  for (int i = 0; i < 30; ++i) EXPECT_EQ(Enumerate({"general", "private"}), ZOR_SUCCESS);
  EXPECT_TRUE(HandlesFallTo(handles));
}

// --- The errors of the search

TEST_F(DiscoveryTest, ASearchThatFailsLeavesNothingBehindWhenTheLibraryIsUnloaded) {
  library_.Unload();
  InstallDriver(L"1..0.5");
  // From another thread, too.
  const auto run = [&] {
    // The server may still be busy with the client before.
    ASSERT_TRUE(WaitNamedPipeW(kRequestPipe, kPatienceMs));
    const LoadedLibrary library;
    ZorNameList list = {};
    server_.Answer(Build(Reply{.enum_result = Reply::Names{1, {{"general"}}}}));
    EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_TRANSPORT_FAILURE);
    std::jthread([&] {
      server_.Answer(Build(Reply{.enum_result = Reply::Names{1, {{"general"}}}}));
      EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_TRANSPORT_FAILURE);
    }).join();
  };
  for (int i = 0; i < 5; ++i) run();
  const int handles = Usage::Now().handles;
  for (int i = 0; i < 20; ++i) run();
  EXPECT_TRUE(HandlesFallTo(handles));
}

// One that kept a thread-local slot each time would end the process.
TEST(Unload, CanFollowALoadAsOftenAsAnyoneLikes) {
  for (int i = 0; i < 1'500; ++i) const LoadedLibrary library;
}

}  // namespace
}  // namespace zor::testing
