// doctor on machines with a fault each: what it sees with the library's own search, and what it
// says about it.
#include "tools/zorctl/doctor/machine.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/machine_test.h"
#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/facts_json.h"
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
    facts_.request_pipe = facts_.notify_pipe = {
        .state = PipeState::kFree, .is_open = true, .process = 7, .image = "C:\\server.exe"};
    Serve({"general", "whisper"});
  }

  void Serve(const std::vector<std::string>& names) {
    facts_.server = {};
    facts_.server.information = {.size = 64, .valid = true, .information = {1, 0, 0, 0}};
    facts_.server.list = {.size = 64,
                          .valid = true,
                          .count = static_cast<std::uint32_t>(names.size()),
                          .names = names};
    facts_.server.merged.emplace();
    for (const auto& name : names) facts_.server.merged->names.emplace_back(name);
  }

  /// The request pipe cannot be used, so that nothing is asked.
  void AskNothing() { facts_.server = {}; }

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

  std::vector<std::string> Faults() {
    std::vector<std::string> steps;
    for (const Finding& finding : Findings()) {
      if (finding.verdict == Verdict::kFault) steps.push_back(finding.step);
    }
    return steps;
  }

  const DiscoveryRules rules_;
  Facts facts_;
};

TEST_F(DoctorTest, ASoundMachineHasEveryStepInOrderAndNoFault) {
  InstallPackage();
  facts_.process = {
      .user = R"(PC\ann)", .session = 1, .elevated = false, .system = "Windows 10.0.1"};
  const auto findings = Findings();
  std::vector<std::string> steps;
  for (const Finding& finding : findings) {
    steps.push_back(finding.step);
    EXPECT_EQ(finding.verdict, Verdict::kOk) << finding.found;
  }
  EXPECT_THAT(steps, ElementsAre("process", "library", "request_pipe", "notification_pipe",
                                 "server_process", "server", "com", "driver_query", "driver_store",
                                 "candidate", "package", "algorithm_library", "algorithm_library",
                                 "server_list", "merged_list"));
  EXPECT_TRUE(IsHealthy(findings));
  EXPECT_EQ(OneOf("process").found, R"(user PC\ann, not elevated, session 1, Windows 10.0.1)");
  EXPECT_THAT(OneOf("request_pipe").found, HasSubstr(R"(process 7, C:\server.exe, user not read)"));
  EXPECT_THAT(OneOf("driver_query").found, HasSubstr("version 1.0.0.5"));
  EXPECT_THAT(OneOf("package").found, HasSubstr("because its version is that of the driver"));
  EXPECT_THAT(Of("algorithm_library")[0].found, "K270502.dll answered, algorithm id 101: general");
}

// --- Library

TEST_F(DoctorTest, TellsApartWhatIsWrongWithTheLibrarysFile) {
  using State = ImageFacts::State;
  facts_.library = {.path = R"(C:\x.dll)"};
  const struct {
    ImageFacts image;
    const char* found;
    const char* advice;
  } images[] = {
      {{.state = State::kMissing}, "there is no such file", "beside zorctl.exe"},
      {{.state = State::kFolder}, "is a folder", "Remove the folder"},
      {{.state = State::kUnreadable, .error = {5, "Access denied"}},
       "cannot be read (error 5: Access denied)",
       "the right to read"},
      {{.state = State::kUnreadable, .error = {32, "Sharing"}}, "(error 32: Sharing)", "Close the"},
      {{.state = State::kNotAnImage}, "is no library", "of zorctl's own release"},
      {{.state = State::kTruncated}, "is cut off", "of zorctl's own release"},
      {{.state = State::kOtherMachine, .machine = "32-bit x86"},
       "is for 32-bit x86",
       "own release"},
      {{.missing = {{"a.dll", "x.dll", "is missing"}}},
       "cannot be loaded: a.dll, which x.dll needs, is missing",
       "Install a.dll"},
  };
  for (const auto& [image, found, advice] : images) {
    facts_.library.image = image;
    ExpectFault("library", found, advice);
    EXPECT_FALSE(IsUsable(facts_.library));
  }
}

TEST_F(DoctorTest, SaysThatTheLibraryHangsOrCrashesOrIsRefused) {
  facts_.library.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 5000};
  ExpectFault("library", "ZorInterface.dll did not end within 5.0 s", "own release");
  facts_.library.end = {.how = ProbeEnd::How::kEnded, .status = 0xC0000005};
  ExpectFault("library", "crashed (exception 0xC0000005, access violation)", "own release");
  facts_.library.end = {.how = ProbeEnd::How::kEnded, .status = 7};
  ExpectFault("library", "ended the process, with status 7", "own release");
  facts_.library.end = {.how = ProbeEnd::How::kNoTime};
  EXPECT_EQ(OneOf("library").verdict, Verdict::kSkipped);
  facts_.library.end = {};
  facts_.library.error = "the library has no function ZorIntfSet";
  ExpectFault("library", "has no function", "own release");
  facts_.library.missing = true;
  ExpectFault("library", "has no function", "beside zorctl.exe");
  facts_.server.merged.reset();
  EXPECT_EQ(OneOf("merged_list").because, "library");
}

// --- Pipes

TEST_F(DoctorTest, NoServerIsOneFault) {
  facts_.request_pipe =
      facts_.notify_pipe = {.state = PipeState::kAbsent, .error = {2, "File not found"}};
  AskNothing();
  InstallPackage();
  ExpectFault("request_pipe", "does not exist (error 2: File not found)", "Start the audio server");
  EXPECT_THAT(Faults(), ElementsAre("request_pipe"));
  for (const char* step : {"notification_pipe", "server", "server_list", "merged_list"}) {
    EXPECT_EQ(OneOf(step).verdict, Verdict::kConsequence) << step;
    EXPECT_EQ(OneOf(step).because, "request pipe");
  }
}

TEST_F(DoctorTest, TellsNoServerFromHalfAServer) {
  facts_.notify_pipe = {.state = PipeState::kAbsent};
  ExpectFault("notification_pipe", "ZorSWNRpipeNotify does not exist", "only one of its two pipes");
  EXPECT_EQ(OneOf("request_pipe").verdict, Verdict::kOk);
}

TEST_F(DoctorTest, SaysThatAPipeIsBusyOrRefusedOrHangs) {
  AskNothing();
  facts_.request_pipe = {.state = PipeState::kBusy, .error = {231, "busy"}};
  ExpectFault("request_pipe", "all its instances are busy (error 231: busy)", "Close other");
  facts_.process = {.user = R"(PC\ann)", .elevated = true};
  facts_.request_pipe = {.state = PipeState::kUnknown, .error = {5, "Access denied"}};
  ExpectFault("request_pipe", R"(refuses access to PC\ann (elevated) (error 5: Access denied))",
              "whom the server admits");
  EXPECT_EQ(OneOf("server").because, "request pipe");
  facts_.request_pipe = {.state = PipeState::kUnknown, .error = {87, "Invalid"}};
  ExpectFault("request_pipe", "cannot be opened (error 87: Invalid)", "Restart");
  facts_.request_pipe = {.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 5000}};
  ExpectFault("request_pipe", "did not end within 5.0 s", "Restart");
}

TEST_F(DoctorTest, NamesAByteModePipeAndBlamesItForTheReplies) {
  facts_.request_pipe.messages = false;
  facts_.server.information = {.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 5000}};
  ExpectFault("request_pipe", "carries bytes, not messages; it belongs to process 7", "of message");
  EXPECT_EQ(OneOf("server").because, "request pipe");
  EXPECT_THAT(OneOf("server").found, HasSubstr("did not reply to ZorIntfGetInfo within 5.0 s"));
}

TEST_F(DoctorTest, NamesBothOwnersOfPipesOfTwoProcesses) {
  facts_.notify_pipe.process = 9;
  facts_.notify_pipe.image = R"(C:\other.exe)";
  facts_.notify_pipe.user = R"(PC\bob)";
  facts_.notify_pipe.session = 2;
  ExpectFault("server_process", "two processes: the request pipe to process 7, C:\\server.exe",
              "not the audio server");
  EXPECT_THAT(OneOf("server_process").found,
              HasSubstr(R"(to process 9, C:\other.exe, user PC\bob, session 2)"));
}

// --- Server

TEST_F(DoctorTest, HasASentenceForEachBadReply) {
  using State = ExchangeFacts::State;
  const struct {
    ExchangeFacts reply;
    const char* found;
  } replies[] = {
      {{.state = State::kOpenFailed, .error = {231, "busy"}}, "could not be opened"},
      {{.state = State::kWriteFailed, .error = {232, "x"}}, "broke while the request"},
      {{.state = State::kReadFailed, .error = {109, "Broken"}}, "dropped the connection instead"},
      {{.state = State::kReadFailed, .error = {6, "x"}}, "could not be read (error 6"},
      {{.state = State::kTooLong, .error = {234, "More"}}, "longer than 1024 bytes"},
      {{.size = 0}, "is empty"},
      {{.size = 9, .start = {'H', 'T', 'T', 'P', '/', '1', '\r', '\n', 'x'}}, "is HTTP: 'HTTP/1'"},
      {{.size = 2, .start = {1, 0xAB}}, "2 bytes, is no message of the protocol: 01 AB"},
      {{.size = 60, .valid = true, .result = 1}, "the server itself returned 1"},
      {{.size = 60, .valid = true, .result = 2}, "the server itself returned 2"},
      {{.size = 60, .valid = true, .result = 3}, "the server itself returned 3"},
      {{.size = 60, .valid = true, .result = 77}, "the server returned 77"},
      {{.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 5000}}, "did not reply to Zor"},
  };
  std::vector<std::string> sentences;
  for (const auto& [reply, found] : replies) {
    facts_.server.information = reply;
    ExpectFault("server", found, "");
    EXPECT_THAT(OneOf("server").advice, AllOf(Not(IsEmpty()), Not(HasSubstr("doctor"))));
    EXPECT_FALSE(IsSound(facts_.server.information));
    sentences.push_back(OneOf("server").found);
  }
  std::ranges::sort(sentences);
  EXPECT_EQ(std::ranges::adjacent_find(sentences), sentences.end());
}

TEST_F(DoctorTest, ShowsTheLibrarysOwnLinesOfAFailingCall) {
  facts_.server.information_call = {.result = 1, .lines = {"[zor] The IPC gotten data is invalid"}};
  ExpectFault("server", "ZorIntfGetInfo returned 1", "try again");
  EXPECT_THAT(OneOf("server").lines, ElementsAre("[zor] The IPC gotten data is invalid"));
  facts_.server.information->valid = false;
  facts_.server.information->size = 3;
  EXPECT_THAT(OneOf("server").lines, ElementsAre("[zor] The IPC gotten data is invalid"));
  facts_.server.information->valid = true;
  facts_.server.information_call = {.exception = "std::bad_alloc"};
  ExpectFault("server", "ended with the exception std::bad_alloc", "claims more");
}

TEST_F(DoctorTest, TellsSlowReplies) {
  InstallPackage();
  facts_.server.information->milliseconds = 1500;
  facts_.server.list->milliseconds = 2000;
  EXPECT_EQ(Of("server")[0].verdict, Verdict::kWarning);
  EXPECT_THAT(Of("server")[0].found, HasSubstr("came after 1.5 s"));
  EXPECT_THAT(Of("server_list")[0].found, HasSubstr("came after 2.0 s"));
  EXPECT_TRUE(IsHealthy(Findings()));
}

TEST_F(DoctorTest, SaysThatTheServersListClaimsMoreThanItHolds) {
  facts_.server.list->count = 4'000'000'000;
  facts_.server.merged.reset();
  ExpectFault("server_list", "claims 4000000000 names, but holds 2", "release");
  EXPECT_EQ(OneOf("merged_list").because, "server's list");
  EXPECT_FALSE(CanMerge(facts_));
}

TEST_F(DoctorTest, ExplainsTheServersResultToTheList) {
  facts_.server.list = {.size = 60, .valid = true, .result = 24};
  facts_.server.merged.reset();
  ExpectFault("server_list", "returned 24 to ZorIntfEnum", "See the server's documentation");
  EXPECT_EQ(OneOf("merged_list").verdict, Verdict::kConsequence);
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
    EXPECT_EQ(OneOf("package").because, "driver query");
    EXPECT_EQ(OneOf("algorithm_library").because, "driver query");
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
  InstallDriver(L"1.0.0.5");
  TheEnvironment().variables.clear();
  ExpectFault("driver_store", "\"systemroot\" is not set", "system's own environment");
}

TEST_F(DoctorTest, AStoreThatCannotBeListedIsOneFault) {
  InstallDriver(L"1.0.0.5");
  TheDirectories().directories.clear();
  facts_.server.merged->result = 1;
  ExpectFault("driver_store", "cannot be listed: ", "names the Windows folder");
  EXPECT_THAT(Faults(), ElementsAre("driver_store"));
  for (const char* step : {"package", "algorithm_library", "merged_list"}) {
    EXPECT_EQ(OneOf(step).because, "driver store") << step;
  }
}

TEST_F(DoctorTest, WithoutADriverTheStoreIsNoFaultOfItsOwn) {
  TheDirectories().directories.clear();
  EXPECT_EQ(OneOf("driver_store").verdict, Verdict::kWarning);
  TheDirectories().directories[store()].entries = {L"other.inf_1"};
  EXPECT_EQ(OneOf("driver_store").because, "driver query");
  EXPECT_THAT(Faults(), ElementsAre("driver_query"));
}

TEST_F(DoctorTest, SaysThatTheStoreHasNoPackage) {
  InstallDriver(L"1.0.0.5");
  TheDirectories().directories[store()].entries = {L"other.inf_1"};
  ExpectFault("driver_store", "holds no entry named zorapo.inf_", "Install the audio driver");
  EXPECT_EQ(OneOf("package").because, "driver store");
}

TEST_F(DoctorTest, SaysThatADriverQueryOrASearchHangs) {
  InstallPackage();
  facts_.machine = ExamineMachine(rules_);
  facts_.machine.driver = {.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 10000}};
  facts_.server.merged.reset();
  const auto findings = Diagnose(facts_);
  const auto driver = std::ranges::find(findings, "driver_query", &Finding::step);
  EXPECT_THAT(driver->found, HasSubstr("did not end within 10.0 s"));
  EXPECT_THAT(driver->advice, HasSubstr("Windows Management Instrumentation"));
  EXPECT_EQ(findings.back().because, "driver query");
  EXPECT_FALSE(CanMerge(facts_));
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
  ExpectFault("package", "none was chosen", "Install the audio driver package again");
}

TEST_F(DoctorTest, SaysThatAVersionEndsTheSearch) {
  InstallDriver(L"1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.99999999999");
  ExpectFault("candidate", "its version cannot be read: one of its numbers is too large", "again");
  EXPECT_EQ(OneOf("package").because, "candidate");
  EXPECT_THAT(OneOf("package").found, HasSubstr("the search ended"));
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
  ExpectFault("package", "zorapo.inf_2 is used, though its version is another",
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

TEST_F(DoctorTest, SaysByTheFileWhyALibraryDoesNotLoad) {
  using State = ImageFacts::State;
  const struct {
    ImageFacts image;
    const char* found;
  } images[] = {
      {{.state = State::kFolder}, ": it is a folder"},
      {{.state = State::kNotAnImage}, ": it is no library"},
      {{.state = State::kTruncated}, ": it is cut off"},
      {{.state = State::kOtherMachine, .machine = "32-bit x86"}, ": it is for 32-bit x86"},
      {{.missing = {{"h.dll", "K270502.dll", "is missing"}}},
       ": h.dll, which K270502.dll needs, is missing"},
  };
  AlgorithmLibraryFacts library{.file = "K270502.dll",
                                .query = {.failed = LibraryStep::kLoad, .error = 126},
                                .error_text = "Module not found"};
  for (const auto& [image, found] : images) {
    library.image = image;
    EXPECT_THAT(DiagnoseAlgorithm(library).found,
                AllOf(HasSubstr("(error 126: Module not found)"), HasSubstr(found)));
  }
}

TEST_F(DoctorTest, NamesALibraryThatHangsOrCrashesAndDoesNotCallIt) {
  InstallPackage();
  facts_.machine = ExamineMachine(rules_);
  AlgorithmLibraryFacts& library = facts_.machine.contents->libraries[1];
  library.end = {.how = ProbeEnd::How::kTimedOut, .limit_ms = 5000};
  EXPECT_EQ(DiagnoseAlgorithm(library).found,
            "loading and asking K030806.dll did not end within 5.0 s");
  library.end = {.how = ProbeEnd::How::kEnded, .status = 0xC00000FD};
  EXPECT_THAT(DiagnoseAlgorithm(library).found, HasSubstr("K030806.dll crashed (exception 0xC00000"
                                                          "FD, stack overflow)"));
  EXPECT_FALSE(CanMerge(facts_));
  facts_.server.merged.reset();
  EXPECT_EQ(DiagnoseMergedList(facts_)[0].because, "algorithm library");
  EXPECT_THAT(facts_.machine.LocalNames(), ElementsAre("general"));
}

TEST_F(DoctorTest, TellsTwoFilesOfOneAlgorithm) {
  AddLibrary(InstallPackage(), L"K270506.dll");
  const auto libraries = Of("algorithm_library");
  ASSERT_EQ(libraries.size(), 4U);
  EXPECT_EQ(libraries[3].verdict, Verdict::kWarning);
  EXPECT_EQ(libraries[3].found, "general has 2 libraries: K270502.dll, K270506.dll");
}

TEST_F(DoctorTest, AnAlgorithmWhoseLibraryFailsIsNoFaultOfItsOwn) {
  const std::wstring package = InstallPackage();
  TheModules().files.erase(package + L"\\K030806.dll");
  EXPECT_THAT(Faults(), ElementsAre("algorithm_library"));
  EXPECT_EQ(Of("merged_list")[1].because, "algorithm library");
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
  facts_.server.merged->result = 1;
  ExpectFault("merged_list", "ZorIntfEnum(2) returned 1", "own lines");
}

// --- The report

TEST(DoctorReport, TextHasTheFindingWhatIsWrongAndWhatToDo) {
  EXPECT_EQ(ToText(Finding{"com", "COM", Verdict::kOk, "initialised", {}, {}}),
            "ok       COM: initialised\n");
  EXPECT_EQ(
      ToText(Finding{
          "x", "x", Verdict::kFault, "gone", "It hurts.", "Put it back.", {}, {"[zor] ouch"}}),
      "FAULT    x: gone\n"
      "         It hurts.\n"
      "         What to do: Put it back.\n"
      "         [zor] ouch\n");
  EXPECT_EQ(ToText(Finding{"y", "y", Verdict::kConsequence, "so", {}, {}, "x"}),
            "follows  y: so (because of: x)\n");
}

TEST(DoctorReport, SummaryCountsAndRepeatsTheFirstThingToDo) {
  const Finding fault{"x", "x", Verdict::kFault, "gone", "It hurts.", "Put it back."};
  EXPECT_EQ(Summary({}), "\n0 faults, 0 warnings\n");
  EXPECT_EQ(Summary({{"y", "y", Verdict::kWarning, "odd", "", "z."}, fault}),
            "\n1 fault, 1 warning\nFirst: x: Put it back.\n");
}

TEST(DoctorReport, OnATerminalLinesFitAndMarksAreColoured) {
  const Finding finding{"x", "x", Verdict::kFault, "aaaa bbbb cccc dddd", "It hurts.", ""};
  EXPECT_EQ(ToText(finding, {.width = 22, .colour = true}),
            "\x1B[1;31mFAULT   \x1B[0m x: aaaa bbbb\n"
            "         cccc dddd\n"
            "         It hurts.\n");
  EXPECT_EQ(Wrap("a\xC3\xA4"
                 "bc defghijklm n",
                 9, 1),
            "a\xC3\xA4"
            "bc\n defghijklm\n n");
}

TEST(DoctorReport, TextsOfOthersAreInert) {
  EXPECT_THAT(ToText(Finding{"x", "x", Verdict::kOk, "\x1B[2J", {}, {}, {}, {"\x1B[2J"}}),
              Not(HasSubstr("\x1B")));
}

TEST(DoctorReport, JsonHasTheSame) {
  const Json json =
      ToJson(Findings{{"com", "COM", Verdict::kOk, "initialised", {}, {}},
                      {"x", "x", Verdict::kWarning, "odd", "It may hurt.", "Look."},
                      {"y", "y", Verdict::kConsequence, "so", {}, {}, "x", {"[zor] l"}}});
  EXPECT_EQ(json["healthy"], true);
  EXPECT_EQ(json["findings"][0],
            (Json{{"step", "com"}, {"verdict", "ok"}, {"found", "initialised"}}));
  EXPECT_EQ(json["findings"][1]["verdict"], "warning");
  EXPECT_EQ(json["findings"][1]["wrong"], "It may hurt.");
  EXPECT_EQ(json["findings"][1]["advice"], "Look.");
  EXPECT_EQ(json["findings"][2]["verdict"], "consequence");
  EXPECT_EQ(json["findings"][2]["because"], "x");
  EXPECT_EQ(json["findings"][2]["log"][0], "[zor] l");
  EXPECT_EQ(ToJson(Findings{{"x", "x", Verdict::kFault, "gone", "It hurts.", "Back."}})["healthy"],
            false);
}

// --- On their way from one process to another

TEST(DoctorFacts, ComeBackFromJsonAsTheyWent) {
  const PipeFacts pipe{.state = PipeState::kBusy,
                       .error = {231, "b"},
                       .is_open = true,
                       .messages = false,
                       .process = 7,
                       .session = 2,
                       .image = "i",
                       .user = "u"};
  PipeFacts pipe_back;
  FromJson(ToJson(pipe), pipe_back);
  EXPECT_EQ(ToJson(pipe_back), ToJson(pipe));
  EXPECT_EQ(pipe_back.error.text, "b");
  EXPECT_FALSE(pipe_back.messages);

  const ExchangeFacts exchange{.state = ExchangeFacts::State::kTooLong,
                               .size = 5,
                               .start = {1, 255},
                               .valid = true,
                               .result = 4000000000,
                               .information = {1, 2, 3, 4},
                               .count = 9,
                               .names = {"a", "b"}};
  ExchangeFacts exchange_back;
  FromJson(ToJson(exchange), exchange_back);
  EXPECT_EQ(ToJson(exchange_back), ToJson(exchange));
  EXPECT_THAT(exchange_back.start, ElementsAre(1, 255));

  const DriverFacts driver{
      .failed = QueryStep::kConnect, .result = 0x80041003, .version = VersionQuad{1, 2, 3, 4}};
  DriverFacts driver_back;
  FromJson(ToJson(driver), driver_back);
  EXPECT_EQ(driver_back.failed, QueryStep::kConnect);
  EXPECT_EQ(driver_back.version, driver.version);

  const CallFacts call{.result = 1, .exception = "e", .names = {std::nullopt, "x"}};
  CallFacts call_back;
  FromJson(ToJson(call), call_back);
  EXPECT_EQ(call_back.names, call.names);

  StoreSearch search;
  search.candidates.push_back({.folder = "f", .examined = true, .version_line = "v"});
  StoreSearch search_back;
  FromJson(ToJson(search), search_back);
  EXPECT_EQ(ToJson(search_back), ToJson(search));
  ASSERT_EQ(search_back.candidates.size(), 1U);
  EXPECT_FALSE(search_back.candidates[0].version);
}

TEST(DoctorFacts, WhatIsMissingOrOddInJsonIsLeftOut) {
  LibraryFacts library{.path = "kept"};
  FromJson(Json(), library);
  FromJson(Json{{"path", 3}, {"missing", "x"}, {"other", 1}}, library);
  EXPECT_EQ(library.path, "kept");
  EXPECT_FALSE(library.missing);
}

}  // namespace
}  // namespace zor::ctl
