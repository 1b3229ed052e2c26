// doctor on a machine whose COM objects, folders, INF files, algorithm libraries and pipes are all
// real, with one fault after the other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include "simulator/default_scenario.h"
#include "simulator/server.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/support/import_hook.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/zorctl/support/patient_limits.h"
#include "tests/zorctl/support/planted_wmi.h"
#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/doctor.h"
#include "tools/zorctl/doctor/findings_report.h"

namespace zor::testing {
namespace {

using ctl::Finding;
using ctl::Verdict;
using std::filesystem::path;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// A machine with a driver, its package and two algorithms, and a server that offers these: without
/// a fault until the test makes one.
class DoctorTest : public ::testing::Test {
 protected:
  DoctorTest() {
    PlantWmi(L"version=1.0.0.5");
    package_ = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    Machine::AddLibrary(package_, L"K270502.dll", L"zor_test_answers.dll");
    Machine::AddLibrary(package_, L"K030806.dll", L"zor_test_answers.dll");
  }

  void Serve(const std::vector<std::string>& algorithms = {"general", "whisper"}) {
    sim::Scenario scenario = sim::DefaultScenario();
    scenario.lists[2] = algorithms;
    Serve(std::move(scenario));
  }
  void Serve(sim::Scenario scenario) {
    server_.emplace(std::move(scenario));
    if (const auto error = server_->Start()) throw std::runtime_error(*error);
  }

  void Examine() {
    findings_.clear();
    // Each finding is told as soon as it is known, and all of them are those of all facts.
    const ctl::Facts facts =
        ctl::Examine({.begin = [](const std::string& /*doing*/) {},
                      .found = [this](const Finding& finding) { findings_.push_back(finding); }},
                     kPatientLimits);
    EXPECT_EQ(ctl::ToJson(findings_), ctl::ToJson(ctl::Diagnose(facts)));
  }

  /// The finding that says this.
  const Finding& Saying(const std::string& found) {
    const auto at = std::ranges::find_if(findings_, [&](const Finding& finding) {
      return finding.found.find(found) != std::string::npos;
    });
    if (at == findings_.end()) throw std::runtime_error("no finding says: " + found);
    return *at;
  }

  /// Exactly one of the step's findings is this fault, and has advice.
  void ExpectFault(const std::string& step, const std::string& found, const std::string& advice) {
    int count = 0;
    std::string all;
    for (const Finding& finding : findings_) {
      all += finding.step + ": " + finding.found + '\n';
      if (finding.step != step || finding.verdict != Verdict::kFault) continue;
      if (finding.found.find(found) == std::string::npos) continue;
      ++count;
      EXPECT_THAT(finding.wrong, Not(IsEmpty()));
      EXPECT_THAT(finding.advice, HasSubstr(advice));
    }
    EXPECT_EQ(count, 1) << all;
    EXPECT_FALSE(ctl::IsHealthy(findings_));
  }

  /// These are all the faults there are.
  void ExpectFaults(const std::vector<std::string>& steps) const {
    std::vector<std::string> faults;
    for (const Finding& finding : findings_) {
      if (finding.verdict == Verdict::kFault) faults.push_back(finding.step);
    }
    EXPECT_EQ(faults, steps);
  }

  Machine machine_;
  path package_;
  std::optional<sim::Server> server_;
  std::vector<Finding> findings_;
};

TEST_F(DoctorTest, NothingIsWrongWithASoundMachine) {
  Serve();
  Examine();
  ExpectFaults({});
  EXPECT_TRUE(ctl::IsHealthy(findings_));
  EXPECT_EQ(findings_.size(), 15U);
  for (const Finding& finding : findings_) {
    EXPECT_EQ(finding.verdict, Verdict::kOk) << finding.step << ": " << finding.found;
  }
}

// --- The pipes

TEST_F(DoctorTest, NoServer) {
  Examine();
  ExpectFault("request_pipe", "ZorSWNRpipe does not exist", "Start the audio server");
  ExpectFaults({"request_pipe"});
}

TEST_F(DoctorTest, OnlyTheRequestPipe) {
  const PipeServer half(kRequestPipe, AnswerAll, 2);
  Examine();
  ExpectFault("notification_pipe", "does not exist", "only one of its two pipes");
}

TEST_F(DoctorTest, OnlyTheNotificationPipe) {
  const PipeServer half(kNotifyPipe, StayIdle, 2);
  Examine();
  ExpectFault("request_pipe", "does not exist", "only one of its two pipes");
  ExpectFaults({"request_pipe"});
}

TEST_F(DoctorTest, AllInstancesAreBusy) {
  PipeServer request(kRequestPipe, StayIdle, 1, {.instances = 1});
  const PipeServer notify(kNotifyPipe, StayIdle, 2);
  const UniqueHandle client = Require(CreateFileW(kRequestPipe, GENERIC_READ | GENERIC_WRITE, 0,
                                                  nullptr, OPEN_EXISTING, 0, nullptr),
                                      "CreateFile");
  Examine();
  ExpectFault("request_pipe", "exists, but all its instances are busy", "Close other applications");
  ExpectFaults({"request_pipe"});
}

TEST_F(DoctorTest, AskingForAPipeDoesNotTakeIt) {
  const PipeServer request(kRequestPipe, StayIdle, 1, {.instances = 1});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ctl::CheckPipe(ctl::kRequestPipe).state, ctl::PipeState::kFree);
  }
  EXPECT_EQ(request.connections(), 0);
}

/// As in a Windows container.
BOOL WINAPI CannotWait(LPCWSTR /*name*/, DWORD /*milliseconds*/) {
  SetLastError(ERROR_NOT_SUPPORTED);
  return FALSE;
}

TEST_F(DoctorTest, PipesAreCheckedWhereTheSystemCannotWaitForThem) {
  const ImportHook hook("WaitNamedPipeW", CannotWait);
  const auto state = [] { return ctl::CheckPipe(ctl::kRequestPipe).state; };
  EXPECT_EQ(state(), ctl::PipeState::kAbsent);
  PipeServer request(kRequestPipe, StayIdle, 1, {.instances = 1});
  EXPECT_EQ(state(), ctl::PipeState::kFree);
  ASSERT_TRUE(request.WaitForConnections(1));
  // Its only instance is taken as soon as it listens again.
  UniqueHandle client;
  while (client == nullptr) {
    client = Own(CreateFileW(kRequestPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             0, nullptr));
  }
  EXPECT_EQ(state(), ctl::PipeState::kBusy);
}

// --- The driver query

TEST_F(DoctorTest, TheManagementServiceRefuses) {
  Serve();
  const struct {
    const wchar_t* step;
    const char* said;
  } steps[] = {
      {L"locator", "creating the WMI locator failed (0x80041003"},
      {L"connect", "ROOT\\CIMV2 failed (0x80041003"},
      {L"blanket", "security of the WMI connection failed (0x80041003"},
      {L"query", "Win32_PnpSignedDriver failed (0x80041003"},
  };
  for (const auto& [step, said] : steps) {
    PlantWmi(step);
    Examine();
    ExpectFault("driver_query", said, "Instrumentation service runs and admits this user");
    ExpectFault("driver_query", "the management service refuses access", "runs and admits");
    ExpectFaults({"driver_query"});
  }
}

TEST_F(DoctorTest, NoDriverIsInstalled) {
  Serve();
  PlantWmi(L"none");
  Examine();
  ExpectFault("driver_query", "lists no driver at all", "Install the audio driver package");
  PlantWmi(L"other");
  Examine();
  ExpectFault("driver_query", "none of 1 drivers", "Install the audio driver package");
}

TEST_F(DoctorTest, TheDriverHasNoVersion) {
  Serve();
  PlantWmi(L"noversion");
  Examine();
  ExpectFault("driver_query", "states no version", "Install");
}

TEST_F(DoctorTest, TheDriversVersionIsNone) {
  Serve();
  const struct {
    const wchar_t* version;
    const char* said;
  } versions[] = {{L"version=abc", "'abc'"},
                  {L"version=1.0.12", "'1.0.12'"},
                  {L"version=", "''"},
                  {L"version=1.0.0.99999999999", "'1.0.0.99999999999'"}};
  for (const auto& [version, said] : versions) {
    PlantWmi(version);
    Examine();
    ExpectFault("driver_query", said, "Install the audio driver package again");
  }
}

TEST_F(DoctorTest, TheManagementServiceHangs) {
  Serve();
  PlantWmi(L"hang");
  Examine();
  ExpectFault("driver_query", "Instrumentation for the driver did not end within 20.0 s",
              "Restart the service");
  ExpectFaults({"driver_query"});
  EXPECT_EQ(Saying("not chosen").because, "driver query");
}

// --- The driver store

TEST_F(DoctorTest, TheSystemRootIsWrong) {
  Serve();
  SetEnvironmentVariableW(L"systemroot", L"C:\\no such folder");
  Examine();
  ExpectFault("driver_store", "C:\\no such folder\\System32\\DriverStore\\FileRepository cannot be",
              "\"systemroot\" names the Windows folder");
  ExpectFaults({"driver_store"});
  // The library's own search ends in the same way.
  EXPECT_EQ(Saying("ZorIntfEnum(2) returned 1").because, "driver store");

  SetEnvironmentVariableW(L"systemroot", nullptr);
  Examine();
  ExpectFault("driver_store", "\"systemroot\" is not set", "environment");
}

TEST_F(DoctorTest, NoPackageIsStaged) {
  Serve();
  std::filesystem::remove_all(package_);
  Examine();
  ExpectFault("driver_store", "holds no entry named zorapo.inf_", "Install the audio driver");
  ExpectFaults({"driver_store"});
}

TEST_F(DoctorTest, TheInfFileIsMissing) {
  Serve();
  std::filesystem::remove(package_ / L"zorapo.inf");
  Examine();
  ExpectFault("package", "none was chosen", "Install the audio driver package again");
  EXPECT_EQ(Saying("zorapo.inf cannot be opened").step, "candidate");
}

TEST_F(DoctorTest, TheInfFileIsUtf16) {
  Serve();
  std::string wide("\xFF\xFE");
  for (const char c : std::string("DriverVer=06/21/2023,1.0.0.5\r\n")) wide += {c, '\0'};
  std::ofstream(package_ / L"zorapo.inf", std::ios::binary) << wide;
  Examine();
  ExpectFault("package", "none was chosen", "Install the audio driver package again");
  EXPECT_THAT(Saying("saved as UTF-16").advice, HasSubstr("ANSI or UTF-8"));
}

TEST_F(DoctorTest, NoPackageHasTheDriversVersion) {
  Serve();
  PlantWmi(L"version=1.0.0.9");
  Examine();
  ExpectFault("package", "zorapo.inf_amd64_1 is used, though its version is another",
              "package of that version");
  ExpectFaults({"package"});
}

// --- The algorithm libraries

TEST_F(DoctorTest, LibrariesThatDoNotCount) {
  Serve();
  std::filesystem::remove(package_ / L"K030806.dll");
  Machine::AddLibrary(package_, L"K030F06.dll", L"zor_test_does_not_load.dll");
  Machine::AddLibrary(package_, L"K030Q06.dll", L"zor_test_needs_helper.dll");
  Machine::AddLibrary(package_, L"K250902.dll", L"zor_test_without_entry.dll");
  Machine::AddLibrary(package_, L"K250906.dll", L"zor_test_refuses.dll");
  std::ofstream(package_ / L"K250B06.dll") << "no library";
  std::filesystem::create_directories(package_ / L"K030806.dll");
  Examine();
  ExpectFault("algorithm_library", "K030F06.dll cannot be loaded (error 1114", "Install");
  ExpectFault("algorithm_library", "zor_test_helper.dll, which K030Q06.dll needs, is missing",
              "Install the driver package that has zor_test_helper.dll");
  ExpectFault("algorithm_library", "K250902.dll does not export zor_get_dll_information",
              "Install");
  ExpectFault("algorithm_library", "K250906.dll was asked for its information and returned 1",
              "documentation of the algorithm library");
  ExpectFault("algorithm_library", "it is no library", "again");
  ExpectFault("algorithm_library", "K030806.dll cannot be loaded (error 5", "Remove the folder");
  EXPECT_EQ(Saying("whisper is in the server's list, but its").because, "algorithm library");
}

TEST_F(DoctorTest, ThePackageHasNoLibrary) {
  Serve();
  std::filesystem::remove(package_ / L"K030806.dll");
  std::filesystem::remove(package_ / L"K270502.dll");
  Examine();
  ExpectFault("algorithm_library", "holds no algorithm library", "Install");
  ExpectFaults({"algorithm_library"});
}

// --- The lists

TEST_F(DoctorTest, TheServerOffersWhatIsNotHere) {
  Serve({"general", "whisper", "shotgun_bf"});
  Examine();
  ExpectFault("merged_list", "shotgun_bf is in the server's list, but no library of it answers",
              "Install the driver package that has it");
  ExpectFaults({"merged_list"});
}

TEST_F(DoctorTest, TheServerHasNoListOfAlgorithms) {
  sim::Scenario scenario = sim::DefaultScenario();
  scenario.lists.erase(2);
  Serve(std::move(scenario));
  Examine();
  ExpectFault("server_list", "returned 24 to ZorIntfEnum", "See the server's documentation");
  ExpectFaults({"server_list"});
}

}  // namespace
}  // namespace zor::testing
