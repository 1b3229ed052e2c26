// doctor on machines with a fault each: what it sees with the library's own search, and what it
// says about it.
#include "tools/zorctl/doctor/machine.h"

#include <gmock/gmock.h>

#include "tests/support/machine_test.h"
#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/findings_report.h"

namespace zor::ctl {
namespace {

using scripted::TheDirectories;
using scripted::TheDrivers;
using scripted::TheEnvironment;
using scripted::TheModules;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// A machine on which nothing is missing, with a server that has what the machine has.
class DoctorTest : public scripted::MachineTest {
 protected:
  DoctorTest() {
    facts_.library = {.path = "C:\\ZorInterface.dll", .version = "0.1.0", .error = {}};
    facts_.request_pipe.state = PipeState::kFree;
    facts_.notify_pipe.state = PipeState::kFree;
    Serve({"general", "whisper"});
  }

  void Serve(const std::vector<std::string>& names) {
    facts_.server.emplace();
    facts_.server->names = names;
    for (const auto& name : names) facts_.server->merged.emplace_back(name);
  }

  std::wstring InstallPackage() {
    InstallDriver(L"1.0.0.5");
    const std::wstring package = AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    AddLibrary(package, L"K270502.dll");
    AddLibrary(package, L"K030806.dll");
    return package;
  }

  std::vector<Finding> Findings() {
    facts_.machine = ExamineMachine(rules_);
    return Diagnose(facts_);
  }

  /// The step's findings.
  std::vector<Finding> Of(const std::string& step) {
    auto findings = Findings();
    std::erase_if(findings, [&](const Finding& finding) { return finding.step != step; });
    return findings;
  }
  Finding OneOf(const std::string& step) {
    const auto findings = Of(step);
    EXPECT_EQ(findings.size(), 1U);
    return findings.empty() ? Finding() : findings.front();
  }

  void ExpectFault(const std::string& step, const std::string& found, const std::string& advice) {
    const Finding finding = OneOf(step);
    EXPECT_EQ(finding.verdict, Verdict::kFault);
    EXPECT_THAT(finding.found, HasSubstr(found));
    EXPECT_THAT(finding.wrong, Not(IsEmpty()));
    EXPECT_THAT(finding.advice, HasSubstr(advice));
    EXPECT_FALSE(IsHealthy(Findings()));
  }

  const DiscoveryRules rules_;
  Facts facts_;
};

TEST_F(DoctorTest, ASoundMachineHasEveryStepInOrderAndNoFault) {
  InstallPackage();
  const auto findings = Findings();
  std::vector<std::string> steps;
  for (const Finding& finding : findings) {
    steps.push_back(finding.step);
    EXPECT_EQ(finding.verdict, Verdict::kOk) << finding.found;
  }
  EXPECT_THAT(steps,
              ElementsAre("library", "request_pipe", "notification_pipe", "server", "com",
                          "driver_query", "driver_store", "candidate", "package",
                          "algorithm_library", "algorithm_library", "server_list", "merged_list"));
  EXPECT_TRUE(IsHealthy(findings));
  EXPECT_THAT(OneOf("driver_query").found, HasSubstr("version 1.0.0.5"));
  EXPECT_THAT(OneOf("package").found, HasSubstr("because its version is that of the driver"));
  EXPECT_THAT(Of("algorithm_library")[0].found, "K270502.dll answered, algorithm id 101: general");
}

// --- Library, pipes, server

TEST_F(DoctorTest, SaysThatTheLibraryIsMissing) {
  facts_.library = {.path = {}, .version = {}, .error = "there is no such file", .missing = true};
  facts_.server.reset();
  ExpectFault("library", "there is no such file", "beside zorctl.exe");
  facts_.library.missing = false;
  ExpectFault("library", "there is no such file", "of zorctl's own release");
  EXPECT_EQ(OneOf("server").verdict, Verdict::kSkipped);
}

TEST_F(DoctorTest, TellsNoServerFromHalfAServer) {
  facts_.request_pipe.state = facts_.notify_pipe.state = PipeState::kAbsent;
  facts_.server.reset();
  ExpectFault("request_pipe", "does not exist", "Start the audio server");
  ExpectFault("notification_pipe", "does not exist", "Start the audio server");

  facts_.request_pipe.state = PipeState::kFree;
  ExpectFault("notification_pipe", "ZorSWNRpipeNotify does not exist", "only one of its two pipes");
  EXPECT_EQ(OneOf("request_pipe").verdict, Verdict::kOk);
}

TEST_F(DoctorTest, SaysThatAPipeIsBusyOrRefused) {
  facts_.request_pipe.state = PipeState::kBusy;
  ExpectFault("request_pipe", "all its instances are busy", "Close other applications");
  facts_.request_pipe = {.state = PipeState::kUnknown, .error = 5};
  ExpectFault("request_pipe", "(error 5)", "whom the server admits");
}

TEST_F(DoctorTest, ExplainsTheServersResults) {
  facts_.server->information_result = 1;
  ExpectFault("server", "ZorIntfGetInfo returned 1", "Run `zorctl log`");
  facts_.server->list_result = 24;
  ExpectFault("server_list", "ZorIntfEnum returned 24", "See the server's documentation");
  EXPECT_EQ(OneOf("merged_list").verdict, Verdict::kSkipped);
}

TEST_F(DoctorTest, SaysThatTheServerHasNoAlgorithm) {
  Serve({});
  ExpectFault("server_list", "it is empty", "See the server's documentation");
}

// --- COM and the driver query

TEST_F(DoctorTest, SaysThatComCouldNotBeInitialised) {
  facts_.com_result = 0x80010106;
  ExpectFault("com", "0x80010106", "must initialise COM");
}

TEST_F(DoctorTest, NamesTheStepOfTheQueryThatFailed) {
  InstallPackage();
  const struct {
    const wchar_t* step;
    const char* said;
    const char* advice;
  } steps[] = {
      {L"InitializeSecurity", "setting the process's COM security failed (0x80070005)",
       "before it lists the algorithms"},
      {L"CreateLocator", "creating the WMI locator failed (0x80070005)", "service runs"},
      {L"ConnectServer", "connecting to the WMI namespace ROOT\\CIMV2 failed", "service runs"},
      {L"SetProxyBlanket", "setting the security of the WMI connection failed", "service runs"},
      {L"ExecQuery", "the WMI query for Win32_PnpSignedDriver failed", "service runs"},
  };
  for (const auto& [step, said, advice] : steps) {
    TheDrivers().results = {{step, static_cast<platform::ComResult>(0x80070005)}};
    ExpectFault("driver_query", said, advice);
    EXPECT_EQ(OneOf("package").verdict, Verdict::kSkipped);
    EXPECT_EQ(OneOf("algorithm_library").verdict, Verdict::kSkipped);
    // The store is looked at all the same.
    EXPECT_EQ(OneOf("candidate").verdict, Verdict::kOk);
  }
}

TEST_F(DoctorTest, TellsNoDriverAtAllFromOtherDrivers) {
  ExpectFault("driver_query", "lists no driver at all", "Install the audio driver package");
  TheDrivers().rows = {{{L"HardwareID", {.text = L"PCI\\OTHER"}}}};
  ExpectFault("driver_query", "none of 1 drivers has the hardware id SWC\\VEN_ZOR&CID_APO",
              "Install the audio driver package");
}

TEST_F(DoctorTest, SaysThatTheDriverHasNoVersion) {
  TheDrivers().rows = {
      {{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}}, {L"DriverVersion", {}}}};
  ExpectFault("driver_query", "states no version", "Install the audio driver package again");
}

TEST_F(DoctorTest, SaysThatTheDriversVersionIsNone) {
  InstallDriver(L"1..3.4");
  ExpectFault("driver_query", "states the version '1..3.4'", "again");
}

TEST_F(DoctorTest, ShowsTheTextOfAVersionThatIsNotFourNumbers) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.12.0");
  for (const std::wstring version : {L"abc", L"1.0.12", L""}) {
    TheDrivers().rows.clear();
    InstallDriver(version);
    const std::string shown = "'" + std::string(version.begin(), version.end()) + "'";
    ExpectFault("driver_query", "states the version " + shown, "again");
    EXPECT_THAT(OneOf("driver_query").wrong, HasSubstr("not four numbers"));
    EXPECT_THAT(OneOf("package").wrong, HasSubstr(shown));
  }
}

// --- The driver store and its packages

TEST_F(DoctorTest, SaysThatTheSystemRootIsNotSet) {
  TheEnvironment().variables.clear();
  ExpectFault("driver_store", "\"systemroot\" is not set", "system's own environment");
}

TEST_F(DoctorTest, SaysThatTheDriverStoreCannotBeListed) {
  TheDirectories().directories.clear();
  ExpectFault("driver_store", "cannot be listed: ", "names the Windows folder");
}

TEST_F(DoctorTest, SaysThatTheStoreHasNoPackage) {
  TheDirectories().directories[store()].entries = {L"other.inf_1"};
  ExpectFault("driver_store", "holds no entry named zorapo.inf_", "Install the audio driver");
}

TEST_F(DoctorTest, SaysThatAnInfIsMissingOrUtf16OrWithoutAVersion) {
  InstallDriver(L"1.0.0.5");
  const struct {
    const wchar_t* folder;
    std::string inf;
    const char* found;
  } packages[] = {
      {L"zorapo.inf_1", std::string("\xFF\xFE[\0V\0", 6), "saved as UTF-16"},
      {L"zorapo.inf_2", "[Version]\n", "no line with DriverVer"},
      {L"zorapo.inf_3", "DriverVer=06/21/2023\n", "no version in the line 'DriverVer=06/21/2023'"},
  };
  for (const auto& [folder, inf, found] : packages) AddPackage(folder, inf);
  // As a file of such a name would be.
  TheDirectories().directories[store()].entries.emplace_back(L"ZORAPO.INF_file");

  const auto candidates = Of("candidate");
  ASSERT_EQ(candidates.size(), 4U);
  for (std::size_t i = 0; i < std::size(packages); ++i) {
    EXPECT_THAT(candidates[i].found, HasSubstr(packages[i].found));
  }
  EXPECT_THAT(candidates[3].found, HasSubstr("cannot be opened"));
  for (const Finding& candidate : candidates) {
    EXPECT_EQ(candidate.verdict, Verdict::kWarning);
    EXPECT_THAT(candidate.advice, Not(IsEmpty()));
  }
  ExpectFault("package", "none was chosen", "install the driver again");
}

TEST_F(DoctorTest, SaysThatAVersionEndsTheSearch) {
  InstallDriver(L"1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.99999999999");
  ExpectFault("candidate", "its version cannot be read: one of its numbers is too large", "again");
  ExpectFault("package", "the search ended", "driver store");
}

TEST_F(DoctorTest, ReadsNoPackageBehindTheDrivers) {
  InstallPackage();
  AddPackageOfVersion(L"zorapo.inf_amd64_2", "1.0.0.6");
  const auto candidates = Of("candidate");
  ASSERT_EQ(candidates.size(), 2U);
  EXPECT_EQ(candidates[0].found, "zorapo.inf_amd64_1: version 1.0.0.5");
  EXPECT_EQ(candidates[1].verdict, Verdict::kSkipped);
  EXPECT_EQ(candidates[1].found, "zorapo.inf_amd64_2: the search ended before it");
}

TEST_F(DoctorTest, ReadsAllPackagesWithoutADriver) {
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.6");
  for (const Finding& candidate : Of("candidate")) EXPECT_EQ(candidate.verdict, Verdict::kOk);
  InstallDriver(L"1..3.4");
  EXPECT_EQ(Of("candidate").size(), 2U);
}

TEST_F(DoctorTest, SaysThatNoPackageHasTheDriversVersion) {
  InstallDriver(L"1.0.0.9");
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  AddLibrary(AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.7"), L"K270502.dll");
  ExpectFault("package", "zorapo.inf_2, the best of those with a version",
              "Install the driver package of that version");
  EXPECT_THAT(OneOf("package").wrong, HasSubstr("'1.0.0.9'"));
  // The library uses it nevertheless.
  EXPECT_EQ(OneOf("algorithm_library").verdict, Verdict::kOk);
}

// --- The algorithm libraries

TEST_F(DoctorTest, SaysWhyALibraryDoesNotCount) {
  const std::wstring package = InstallPackage();
  TheDirectories().directories[package].entries = {L"K270502.dll", L"K270506.dll", L"K030806.dll",
                                                   L"K999999.dll", L"readme.txt"};
  TheModules().files.clear();
  TheModules().files[package + L"\\K270506.dll"].information = scripted::Fails;
  TheModules().files[package + L"\\K030806.dll"].information = nullptr;
  TheModules().files[package + L"\\K999999.dll"].information = scripted::Answers;

  const auto libraries = Of("algorithm_library");
  ASSERT_EQ(libraries.size(), 4U);
  EXPECT_EQ(libraries[0].found, "K270502.dll cannot be loaded (error 126)");
  EXPECT_THAT(libraries[0].advice, HasSubstr("A library that it needs is missing"));
  EXPECT_THAT(libraries[1].found, HasSubstr("returned 1"));
  EXPECT_THAT(libraries[2].found, HasSubstr("does not export zor_get_dll_information"));
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(libraries[i].verdict, Verdict::kFault);
  EXPECT_EQ(libraries[3].verdict, Verdict::kWarning);
  EXPECT_THAT(libraries[3].wrong, HasSubstr("No algorithm of the library's catalogue"));

  TheModules().directory_changes_left = 0;
  EXPECT_THAT(Of("algorithm_library")[0].found, HasSubstr("directory could not be set"));
}

TEST_F(DoctorTest, SaysThatThePackageIsEmptyOrCannotBeListed) {
  const std::wstring package = InstallPackage();
  TheDirectories().directories[package].entries.clear();
  ExpectFault("algorithm_library", "holds no algorithm library", "again");
  TheDirectories().directories.erase(package);
  ExpectFault("algorithm_library", "cannot be listed", "may read the package's folder");
}

// --- The lists

TEST_F(DoctorTest, SaysWhichOfTheServersAlgorithmsAreNotHere) {
  InstallPackage();
  Serve({"general", "private", "Whisper"});
  const auto merged = Of("merged_list");
  ASSERT_EQ(merged.size(), 3U);
  EXPECT_EQ(merged[1].verdict, Verdict::kFault);
  EXPECT_THAT(merged[1].found, HasSubstr("private is in the server's list, but no library"));
  EXPECT_EQ(merged[1].wrong, "It cannot be used on this machine.");
  // Two places, and an id of 2.
  EXPECT_EQ(merged[2].verdict, Verdict::kWarning);
  EXPECT_THAT(merged[2].found, HasSubstr("Whisper has the id 2, but the list has 2 places"));
}

TEST_F(DoctorTest, SeesThroughListsThatAreEquallyLong) {
  InstallPackage();
  Serve({"general", "listen"});
  const auto merged = Of("merged_list");
  ASSERT_EQ(merged.size(), 3U);
  EXPECT_THAT(merged[1].found, HasSubstr("listen is in the server's list"));
  EXPECT_THAT(merged[1].wrong, HasSubstr("shown all the same"));
  EXPECT_THAT(merged[2].found, HasSubstr("whisper is installed here, but not in the server's"));
}

TEST_F(DoctorTest, AFailedMergeIsExplained) {
  InstallPackage();
  facts_.server->merged_result = 1;
  ExpectFault("merged_list", "ZorIntfEnum returned 1", "zorctl doctor");
}

// --- The report

TEST(DoctorReport, TextHasTheFindingWhatIsWrongAndWhatToDo) {
  EXPECT_EQ(ToText({{"com", "COM", Verdict::kOk, "initialised", {}, {}},
                    {"server", "server", Verdict::kSkipped, "not asked", {}, {}},
                    {"x", "x", Verdict::kFault, "gone", "It hurts.", "Put it back."}}),
            "ok       COM: initialised\n"
            "skipped  server: not asked\n"
            "FAULT    x: gone\n"
            "         It hurts.\n"
            "         What to do: Put it back.\n"
            "\n1 fault, 0 warnings\n");
}

TEST(DoctorReport, JsonHasTheSame) {
  const Json json = ToJson({{"com", "COM", Verdict::kOk, "initialised", {}, {}},
                            {"x", "x", Verdict::kWarning, "odd", "It may hurt.", "Look."}});
  EXPECT_EQ(json["healthy"], true);
  EXPECT_EQ(json["findings"][0],
            (Json{{"step", "com"}, {"verdict", "ok"}, {"found", "initialised"}}));
  EXPECT_EQ(json["findings"][1]["verdict"], "warning");
  EXPECT_EQ(json["findings"][1]["wrong"], "It may hurt.");
  EXPECT_EQ(json["findings"][1]["advice"], "Look.");
  EXPECT_EQ(ToJson({{"x", "x", Verdict::kFault, "gone", "It hurts.", "Back."}})["healthy"], false);
}

}  // namespace
}  // namespace zor::ctl
