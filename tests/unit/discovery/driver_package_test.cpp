#include "discovery/driver_package.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::TheDirectories;
using scripted::TheDrivers;
using scripted::TheEnvironment;
using scripted::TheOutput;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DriverPackageTest : public scripted::MachineTest {
 protected:
  const DriverStore rules_{};
  std::wstring path_ = L"untouched";
  VersionQuad version_ = {9, 9, 9, 9};
};

// The installed driver's version.

using QueryDriverVersionTest = DriverPackageTest;

TEST_F(QueryDriverVersionTest, GoesThroughTheStepsInOrder) {
  InstallDriver(L"1.2.3.4");
  EXPECT_TRUE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, (VersionQuad{1, 2, 3, 4}));
  EXPECT_THAT(TheDrivers().calls,
              ElementsAre(L"InitializeSecurity", L"CreateLocator", L"ConnectServer ROOT\\CIMV2",
                          L"SetProxyBlanket", L"ExecQuery WQL SELECT * FROM Win32_PnpSignedDriver",
                          L"NextRow", L"ClearValue", L"ReadProperty HardwareID",
                          L"ReadProperty DriverVersion"));
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

struct Step {
  const wchar_t* name;
  const wchar_t* line;
};

constexpr std::array kSteps = {
    Step{L"InitializeSecurity", L"[zor] Faild to initialize security, 0x8004100E\n"},
    Step{L"CreateLocator", L"[zor] Faild to create locator, 0x8004100E\n"},
    Step{L"ConnectServer", L"[zor] Faild to connect server, 0x8004100E\n"},
    Step{L"SetProxyBlanket", L"[zor] Faild to set proxy blanket, 0x8004100E\n"},
    Step{L"ExecQuery", L"[zor] Faild to query WMI command, 0x8004100E\n"},
};

TEST_F(QueryDriverVersionTest, EndsAtTheStepThatFails) {
  InstallDriver(L"1.2.3.4");
  for (std::size_t i = 0; i < kSteps.size(); ++i) {
    TheDrivers().calls.clear();
    TheDrivers().results = {{kSteps[i].name, static_cast<platform::ComResult>(0x8004100E)}};
    EXPECT_FALSE(QueryDriverVersion(version_));
    EXPECT_EQ(version_, (VersionQuad{9, 9, 9, 9}));
    EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(kSteps[i].line));
    EXPECT_EQ(TheDrivers().calls.size(), i + 1);
  }
}

TEST_F(QueryDriverVersionTest, PrintsTheResultInEightDigits) {
  TheDrivers().results = {{L"CreateLocator", static_cast<platform::ComResult>(0x80000001)}};
  EXPECT_FALSE(QueryDriverVersion(version_));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] Faild to create locator, 0x80000001\n"));
}

TEST_F(QueryDriverVersionTest, TakesSecurityThatIsAlreadySetForSuccess) {
  InstallDriver(L"1.2.3.4");
  constexpr auto kTooLate = static_cast<platform::ComResult>(0x80010119);
  TheDrivers().results = {{L"InitializeSecurity", kTooLate}};
  EXPECT_TRUE(QueryDriverVersion(version_));
  // Of no other step it is.
  TheDrivers().results = {{L"CreateLocator", kTooLate}};
  EXPECT_FALSE(QueryDriverVersion(version_));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] Faild to create locator, 0x80010119\n"));
}

TEST_F(QueryDriverVersionTest, TakesAnySuccessForSuccess) {
  InstallDriver(L"1.2.3.4");
  for (const Step& step : kSteps) TheDrivers().results[step.name] = 1;
  EXPECT_TRUE(QueryDriverVersion(version_));
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

TEST_F(QueryDriverVersionTest, LooksForTheWholeHardwareIdInAnyCase) {
  for (const auto* id :
       {L"SWC\\VEN_ZOR&CID_APO2", L"SWC\\VEN_ZOR&CID_AP", L"", L"VEN_ZOR&CID_APO"}) {
    TheDrivers().rows.push_back(
        {{L"HardwareID", {.text = id}}, {L"DriverVersion", {.text = L"1..2.3"}}});
  }
  TheDrivers().rows.push_back({{L"HardwareID", {.text = L"swc\\ven_zor&cid_apo"}},
                               {L"DriverVersion", {.text = L"5.6.7.8"}}});
  InstallDriver(L"1.2.3.4");
  EXPECT_TRUE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, (VersionQuad{5, 6, 7, 8}));
  EXPECT_EQ(std::count(TheDrivers().calls.begin(), TheDrivers().calls.end(), L"NextRow"), 5);
}

TEST_F(QueryDriverVersionTest, SaysThatThereIsNoSuchDriver) {
  EXPECT_FALSE(QueryDriverVersion(version_));
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get Zorvane APO driver version\n"));
}

TEST_F(QueryDriverVersionTest, PassesOverIdsThatAreNoStringOrCannotBeRead) {
  const auto failed = static_cast<platform::ComResult>(0x80041001);
  TheDrivers().rows = {
      {},
      {{L"HardwareID", {.text = std::nullopt}}},
      {{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO", .result = failed}}},
      // The value of the row before is no longer there.
      {{L"HardwareID", {.result = 0, .stores = false}}},
  };
  EXPECT_FALSE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, (VersionQuad{9, 9, 9, 9}));
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get Zorvane APO driver version\n"));
}

TEST_F(QueryDriverVersionTest, SaysThatTheVersionIsNoString) {
  TheDrivers().rows = {{{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                        {L"DriverVersion", {.text = std::nullopt}}}};
  EXPECT_FALSE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, (VersionQuad{9, 9, 9, 9}));
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Zorvane APO driver is found but driver version is empty\n"));
}

TEST_F(QueryDriverVersionTest, DoesNotLookAtTheResultOfTheVersionsRead) {
  const auto failed = static_cast<platform::ComResult>(0x80041001);
  TheDrivers().rows = {{{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                        {L"DriverVersion", {.text = L"1.2.3.4", .result = failed}}}};
  EXPECT_TRUE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, (VersionQuad{1, 2, 3, 4}));
}

TEST_F(QueryDriverVersionTest, AFailedReadLeavesTheHardwareIdWhichIsNoVersion) {
  TheDrivers().rows = {{{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}}}};
  EXPECT_TRUE(QueryDriverVersion(version_));
  EXPECT_EQ(version_, VersionQuad{});
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

TEST_F(QueryDriverVersionTest, LetsTheVersionsErrorsThrough) {
  InstallDriver(L"1..3.4");
  EXPECT_THROW(static_cast<void>(QueryDriverVersion(version_)), std::invalid_argument);
  TheDrivers().rows.clear();
  InstallDriver(L"1.2.3.99999999999");
  EXPECT_THROW(static_cast<void>(QueryDriverVersion(version_)), std::out_of_range);
  EXPECT_EQ(version_, (VersionQuad{9, 9, 9, 9}));
}

// The driver store.

using ScanDriverStoreTest = DriverPackageTest;

TEST_F(ScanDriverStoreTest, TakesEntriesOfAnyKindByTheFolderMark) {
  TheDirectories().directories[store()] = {.entries = {L"zorapo.inf_amd64_2", L"other.inf_amd64_1",
                                                       L"ZORAPO.INF_AMD64_1", L"zorapo.inf",
                                                       L"old_ZorApo.inf_x.txt"}};
  std::vector<std::wstring> entries;
  EXPECT_TRUE(ScanDriverStore(rules_, entries));
  EXPECT_THAT(entries,
              ElementsAre(store() + L"\\zorapo.inf_amd64_2", store() + L"\\ZORAPO.INF_AMD64_1",
                          store() + L"\\old_ZorApo.inf_x.txt"));
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

TEST_F(ScanDriverStoreTest, LooksForTheMarkInTheWholePath) {
  TheEnvironment().variables[L"systemroot"] = L"C:\\zorapo.inf_\\windows";
  TheDirectories().directories[L"C:\\zorapo.inf_\\windows\\System32\\DriverStore\\FileRepository"] =
      {.entries = {L"other"}};
  std::vector<std::wstring> entries;
  EXPECT_TRUE(ScanDriverStore(rules_, entries));
  EXPECT_EQ(entries.size(), 1U);
}

TEST_F(ScanDriverStoreTest, SaysThatThereIsNoPackage) {
  TheDirectories().directories[store()] = {.entries = {L"other.inf_1"}};
  std::vector<std::wstring> entries;
  EXPECT_FALSE(ScanDriverStore(rules_, entries));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] No Zorvane APO driver is found\n"));
}

TEST_F(ScanDriverStoreTest, SaysThatThereIsNoSystemRoot) {
  std::vector<std::wstring> entries;
  TheEnvironment().variables[L"systemroot"] = L"";
  EXPECT_FALSE(ScanDriverStore(rules_, entries));
  TheEnvironment().variables.clear();
  EXPECT_FALSE(ScanDriverStore(rules_, entries));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] Failed to get systemroot variable\n",
                                                  L"[zor] Failed to get systemroot variable\n"));
  EXPECT_THAT(TheDirectories().listed, IsEmpty());
}

TEST_F(ScanDriverStoreTest, TakesTheLongestSystemRoot) {
  const std::wstring root = L"C:\\" + std::wstring(32763, L'r');
  TheEnvironment().variables[L"systemroot"] = root;
  std::vector<std::wstring> entries;
  EXPECT_THROW(static_cast<void>(ScanDriverStore(rules_, entries)),
               std::filesystem::filesystem_error);
  EXPECT_EQ(TheEnvironment().buffer_size, 32767U);
  EXPECT_THAT(TheDirectories().listed,
              ElementsAre(root + L"\\System32\\DriverStore\\FileRepository"));
}

TEST_F(ScanDriverStoreTest, LetsTheListingsErrorsThrough) {
  std::vector<std::wstring> entries;
  TheDirectories().directories[store()] = {.entries = {L"zorapo.inf_1", L"b"}, .fails_after = 1};
  EXPECT_THROW(static_cast<void>(ScanDriverStore(rules_, entries)),
               std::filesystem::filesystem_error);
  TheDirectories().directories.clear();
  EXPECT_THROW(static_cast<void>(ScanDriverStore(rules_, entries)),
               std::filesystem::filesystem_error);
}

// The package.

using FindDriverPackageTest = DriverPackageTest;

TEST_F(FindDriverPackageTest, TakesTheDriversVersion) {
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.7");
  EXPECT_TRUE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, folder);
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

TEST_F(FindDriverPackageTest, TakesNoNewerVersionForTheDrivers) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.7");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.5");
  EXPECT_TRUE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, folder);
}

TEST_F(FindDriverPackageTest, ReadsNoFurtherThanTheDriversVersion) {
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.99999999999");
  EXPECT_TRUE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_THROW(static_cast<void>(FindDriverPackage(rules_, {1, 0, 0, 6}, path_)),
               std::out_of_range);
  EXPECT_EQ(path_, L"");
}

TEST_F(FindDriverPackageTest, FallsBackToTheBestVersion) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.7");
  EXPECT_FALSE(FindDriverPackage(rules_, {1, 0, 0, 9}, path_));
  EXPECT_EQ(path_, folder);
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get version matched APO driver path\n"));
}

TEST_F(FindDriverPackageTest, IsBetterOnlyInEveryPart) {
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.5.0.0");
  AddPackageOfVersion(L"zorapo.inf_2", "2.0.0.0");
  AddPackageOfVersion(L"zorapo.inf_3", "1.4.9.9");
  EXPECT_FALSE(FindDriverPackage(rules_, {9, 9, 9, 9}, path_));
  EXPECT_EQ(path_, folder);

  const auto better = AddPackageOfVersion(L"zorapo.inf_4", "1.5.0.1");
  EXPECT_FALSE(FindDriverPackage(rules_, {9, 9, 9, 9}, path_));
  EXPECT_EQ(path_, better);
}

TEST_F(FindDriverPackageTest, TakesTheLastOfEquals) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.5.0.0");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_2", "1.5.0.0");
  EXPECT_FALSE(FindDriverPackage(rules_, {9, 9, 9, 9}, path_));
  EXPECT_EQ(path_, folder);
}

TEST_F(FindDriverPackageTest, TakesEvenVersionZeroForTheBest) {
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "0.0.0.0");
  EXPECT_FALSE(FindDriverPackage(rules_, {1, 0, 0, 0}, path_));
  EXPECT_EQ(path_, folder);
}

TEST_F(FindDriverPackageTest, SkipsPackagesWithoutAVersion) {
  AddPackage(L"zorapo.inf_1", "");
  AddPackage(L"zorapo.inf_2", "[Version]\nDriverVer=06/21/2023\n");
  AddPackage(L"zorapo.inf_3", "[Version]\nSignature=1.0.0.5\n");
  AddPackage(L"zorapo.inf_4", std::string("DriverVer=\0"
                                          "1.0.0.5\n",
                                          19));
  TheDirectories().directories[store()].entries.push_back(L"ZORAPO.INF_5");
  EXPECT_FALSE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, L"");
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get version matched APO driver path\n"));

  const auto folder = AddPackageOfVersion(L"zorapo.inf_6", "1.0.0.5");
  EXPECT_TRUE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, folder);
}

TEST_F(FindDriverPackageTest, ReadsTheFirstLineWithTheKeyOnly) {
  AddPackage(L"zorapo.inf_1", "; DriverVer below\r\nDriverVer=1,1.0.0.5\r\n");
  EXPECT_FALSE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, L"");
}

TEST_F(FindDriverPackageTest, ReadsALineWithoutAnEndAndBytesThatAreNoText) {
  const auto folder = AddPackage(L"zorapo.inf_1", "\xFF\xFE\xC3(\nDriverVer=\x80\xFF,1.0.0.5");
  EXPECT_TRUE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, folder);
}

TEST_F(FindDriverPackageTest, LeavesThePathWithoutAnyPackage) {
  EXPECT_FALSE(FindDriverPackage(rules_, {1, 0, 0, 5}, path_));
  EXPECT_EQ(path_, L"untouched");
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] No Zorvane APO driver is found\n"));
}

// All of it.

using LocateDriverPackageTest = DriverPackageTest;

TEST_F(LocateDriverPackageTest, FindsThePackageOfTheDriver) {
  InstallDriver(L"1.0.0.5");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  const DriverPackageInfo package = LocateDriverPackage(rules_);
  EXPECT_TRUE(package.found);
  EXPECT_EQ(package.version, (VersionQuad{1, 0, 0, 5}));
  EXPECT_EQ(package.path, folder);
}

TEST_F(LocateDriverPackageTest, FindsThePackageOfAnotherVersion) {
  InstallDriver(L"1.0.0.5");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.4");
  const DriverPackageInfo package = LocateDriverPackage(rules_);
  EXPECT_TRUE(package.found);
  EXPECT_EQ(package.version, (VersionQuad{1, 0, 0, 5}));
  EXPECT_EQ(package.path, folder);
}

TEST_F(LocateDriverPackageTest, FindsNothingWithoutADriver) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  const DriverPackageInfo package = LocateDriverPackage(rules_);
  EXPECT_FALSE(package.found);
  EXPECT_EQ(package.version, VersionQuad{});
  EXPECT_EQ(package.path, L"");
  EXPECT_THAT(TheDirectories().listed, IsEmpty());
}

TEST_F(LocateDriverPackageTest, FindsNothingWhenNoPackageStatesAVersion) {
  InstallDriver(L"1.0.0.5");
  AddPackage(L"zorapo.inf_1", "");
  EXPECT_FALSE(LocateDriverPackage(rules_).found);
  EXPECT_THAT(TheOutput().TakeWide(),
              ElementsAre(L"[zor] Failed to get version matched APO driver path\n"));
}

}  // namespace
}  // namespace zor
