// Faults planted one at a time, as they would be on a customer's machine: doctor comes to its end,
// names the cause before anything else that is wrong, and says what to do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <optional>

#include "simulator/default_scenario.h"
#include "simulator/server.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/zorctl/support/patient_limits.h"
#include "tests/zorctl/support/planted_wmi.h"
#include "tests/zorctl/support/program.h"
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

/// Beyond the minute that doctor may take: what a busy machine needs for the processes' starts.
constexpr std::chrono::minutes kMuchTooLong(10);

/// Sound until a test plants its fault: a driver, its package and two algorithms, and a server.
class PlantedTest : public ::testing::Test {
 protected:
  PlantedTest() {
    SetEnvironmentVariableW(L"ZOR_TEST_MISBEHAVES", nullptr);
    PlantWmi(L"version=1.0.0.5");
    package_ = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    Machine::AddLibrary(package_, L"K270502.dll", L"zor_test_answers.dll");
    Machine::AddLibrary(package_, L"K030806.dll", L"zor_test_answers.dll");
  }
  ~PlantedTest() override { SetEnvironmentVariableW(L"ZOR_TEST_MISBEHAVES", nullptr); }

  void Serve(std::vector<sim::Fault> faults = {}) {
    sim::Scenario scenario = sim::DefaultScenario();
    scenario.lists[2] = {"general", "whisper"};
    scenario.faults = std::move(faults);
    server_.emplace(std::move(scenario));
    if (const auto error = server_->Start()) throw std::runtime_error(*error);
  }
  void ServeWithEvery(const char* call, sim::FaultAction action, std::uint32_t delay_ms = 0) {
    Serve({{.match = {.function = call, .times = 0}, .delay_ms = delay_ms, .action = action}});
  }

  void PlantLibrary(const wchar_t* misbehaves) {
    SetEnvironmentVariableW(L"ZOR_TEST_MISBEHAVES", misbehaves);
    std::filesystem::remove(package_ / L"K030806.dll");
    std::filesystem::copy_file(path(BinaryFolder()) / L"planted" / L"zor_planted_algorithm.dll",
                               package_ / L"K030806.dll");
  }

  /// The first fault is of this step and says this; all others are its consequences.
  void ExpectCause(const std::string& step, const std::string& found) {
    Examine();
    const auto first = std::ranges::find(findings_, Verdict::kFault, &Finding::verdict);
    ASSERT_NE(first, findings_.end()) << All();
    EXPECT_EQ(first->step, step) << All();
    EXPECT_THAT(first->found, HasSubstr(found)) << All();
    EXPECT_THAT(first->wrong, Not(IsEmpty()));
    EXPECT_THAT(first->advice, AllOf(Not(IsEmpty()), Not(HasSubstr("doctor"))));
    EXPECT_EQ(std::ranges::count(findings_, Verdict::kFault, &Finding::verdict), 1) << All();
    cause_ = *first;
  }

  void Examine(const ctl::Limits& limits = kPatientLimits) {
    findings_.clear();
    const auto start = std::chrono::steady_clock::now();
    const ctl::Facts facts =
        ctl::Examine({.begin = [this](const std::string& doing) { announced_ = doing; },
                      .found =
                          [this](const Finding& finding) {
                            EXPECT_THAT(announced_, AnyOf(IsEmpty(), HasSubstr("at most")));
                            findings_.push_back(finding);
                          }},
                     limits);
    EXPECT_LT(std::chrono::steady_clock::now() - start, kMuchTooLong);
    // All parts of the chain were looked at, whatever became of those before.
    EXPECT_EQ(findings_.back().step, "merged_list");
  }

  [[nodiscard]] std::string All() const {
    std::string all;
    for (const Finding& finding : findings_) all += ctl::ToText(finding);
    return all;
  }

  Machine machine_;
  path package_;
  std::optional<sim::Server> server_;
  std::string announced_;
  std::vector<Finding> findings_;
  Finding cause_;
};

TEST_F(PlantedTest, NothingIsPlanted) {
  Serve();
  Examine();
  EXPECT_TRUE(ctl::IsHealthy(findings_)) << All();
}

// --- A ZorInterface.dll that is none, or a bad one

/// A folder with a copy of zorctl and a ZorInterface.dll of the test's.
class Planted {
 public:
  Planted() : folder_(Machine::NewFolder(L"zor-planted-")) {
    std::filesystem::copy_file(path(BinaryFolder()) / L"zorctl.exe", folder_ / L"zorctl.exe");
  }
  Planted(const Planted&) = delete;
  Planted& operator=(const Planted&) = delete;
  ~Planted() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  [[nodiscard]] path library() const { return folder_ / L"ZorInterface.dll"; }

  [[nodiscard]] Finished Run(const std::vector<std::wstring>& words) const {
    return Program((folder_ / L"zorctl.exe").wstring(), words).Finish();
  }

  /// doctor's first fault is the library's and says this, and no call crashes zorctl.
  void ExpectFault(const std::string& found) const {
    const Finished doctor = Run({L"doctor"});
    EXPECT_EQ(doctor.status, 3) << doctor.err;
    const std::size_t first = doctor.out.find("FAULT");
    ASSERT_NE(first, std::string::npos);
    EXPECT_THAT(doctor.out.substr(first), ::testing::StartsWith("FAULT    library: "));
    EXPECT_THAT(doctor.out, HasSubstr(found));
    EXPECT_THAT(doctor.out, HasSubstr("merged list: not asked for (because of: "));
    EXPECT_THAT(doctor.err, HasSubstr("zorctl: doctor: reading ZorInterface.dll (at most 5 s)"));
  }

 private:
  path folder_;
};

std::string Contents(const path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void Write(const path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

std::string BuiltBytes() { return Contents(path(BinaryFolder()) / L"ZorInterface.dll"); }

TEST_F(PlantedTest, TheLibraryIsNotThere) {
  const Planted planted;
  planted.ExpectFault("ZorInterface.dll: there is no such file");
  EXPECT_EQ(planted.Run({L"info"}).status, 1);
}

TEST_F(PlantedTest, TheLibraryIsAFolder) {
  const Planted planted;
  std::filesystem::create_directory(planted.library());
  planted.ExpectFault("ZorInterface.dll is a folder");
  EXPECT_EQ(planted.Run({L"info"}).status, 1);
}

TEST_F(PlantedTest, TheLibraryIsATextOrEmpty) {
  const Planted planted;
  for (const std::string& text : {std::string("<html>Not found</html>"), std::string()}) {
    Write(planted.library(), text);
    planted.ExpectFault("ZorInterface.dll is no library");
    EXPECT_EQ(planted.Run({L"info"}).status, 1);
  }
}

TEST_F(PlantedTest, TheLibraryIsCutOff) {
  const Planted planted;
  Write(planted.library(), BuiltBytes().substr(0, BuiltBytes().size() / 2));
  planted.ExpectFault("ZorInterface.dll is cut off: it is shorter than its header says");
  EXPECT_EQ(planted.Run({L"info"}).status, 1);
}

TEST_F(PlantedTest, TheLibraryIsForAnotherProcessor) {
  const Planted planted;
  std::string bytes = BuiltBytes();
  const std::size_t machine = bytes.find(std::string("PE\0\0", 4)) + 4;
  bytes[machine] = 0x4C;
  bytes[machine + 1] = 0x01;
  Write(planted.library(), bytes);
  planted.ExpectFault("ZorInterface.dll is for 32-bit x86");
  EXPECT_EQ(planted.Run({L"info"}).status, 1);
}

TEST_F(PlantedTest, TheLibraryLacksWhatItNeeds) {
  const Planted planted;
  std::string bytes = BuiltBytes();
  const std::string needed = "api-ms-win-crt-heap-l1-1-0.dll";
  const std::size_t at = bytes.find(needed);
  ASSERT_NE(at, std::string::npos);
  bytes[at + needed.find("heap")] = 'x';
  Write(planted.library(), bytes);
  planted.ExpectFault("api-ms-win-crt-xeap-l1-1-0.dll, which ZorInterface.dll needs, is missing");
}

TEST_F(PlantedTest, TheLibraryHasNoFunctionsOrThree) {
  const Planted planted;
  for (const wchar_t* file : {L"zor_planted_no_exports.dll", L"zor_planted_three_exports.dll"}) {
    std::filesystem::copy_file(path(BinaryFolder()) / L"planted" / file, planted.library(),
                               std::filesystem::copy_options::overwrite_existing);
    planted.ExpectFault("the library has no function ZorIntf");
    const Finished info = planted.Run({L"info"});
    EXPECT_EQ(info.status, 1);
    EXPECT_THAT(info.err, HasSubstr("the library has no function ZorIntf"));
  }
}

TEST_F(PlantedTest, TheLibraryHangsCrashesOrEndsTheProcess) {
  const Planted planted;
  std::filesystem::copy_file(path(BinaryFolder()) / L"planted" / L"zor_planted_no_exports.dll",
                             planted.library());
  SetEnvironmentVariableW(L"ZOR_TEST_MISBEHAVES", L"load hang");
  planted.ExpectFault("ZorInterface.dll did not end within 5.0 s");
  SetEnvironmentVariableW(L"ZOR_TEST_MISBEHAVES", L"load exit");
  planted.ExpectFault("ZorInterface.dll ended the process, with status 7");
}

// --- Pipes that are there

/// Instances that nobody serves: a client connects and is never answered.
class DeadPipe {
 public:
  DeadPipe(const wchar_t* name, DWORD access, DWORD type) {
    constexpr DWORD kBuffer = 4096;
    constexpr int kInstances = 12;
    for (int i = 0; i < kInstances; ++i) {
      instances_.push_back(Require(CreateNamedPipeW(name, access | FILE_FLAG_OVERLAPPED, type,
                                                    kInstances, kBuffer, kBuffer, 0, nullptr),
                                   "CreateNamedPipe"));
    }
  }

 private:
  std::vector<UniqueHandle> instances_;
};

constexpr DWORD kMessages = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;

TEST_F(PlantedTest, TheRequestPipeNeverAnswers) {
  const DeadPipe request(kRequestPipe, PIPE_ACCESS_DUPLEX, kMessages);
  const PipeServer notify(kNotifyPipe, StayIdle, 8);
  ExpectCause("server", "did not reply to ZorIntfGetInfo within 20.0 s");
}

TEST_F(PlantedTest, NoPipeEverAnswers) {
  const DeadPipe request(kRequestPipe, PIPE_ACCESS_DUPLEX, kMessages);
  const DeadPipe notify(kNotifyPipe, PIPE_ACCESS_DUPLEX, kMessages);
  ExpectCause("server", "did not reply to ZorIntfGetInfo within 20.0 s");
}

TEST_F(PlantedTest, TheRequestPipeCarriesBytesAndIsSilent) {
  const DeadPipe request(kRequestPipe, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE);
  const PipeServer notify(kNotifyPipe, StayIdle, 8);
  ExpectCause("request_pipe", "carries bytes, not messages; it belongs to process");
}

TEST_F(PlantedTest, TheRequestPipeRefusesAccess) {
  const DeadPipe request(kRequestPipe, PIPE_ACCESS_INBOUND, kMessages);
  const PipeServer notify(kNotifyPipe, StayIdle, 8);
  ExpectCause("request_pipe", "refuses access to ");
  EXPECT_THAT(cause_.found, HasSubstr("error 5: "));
  EXPECT_THAT(cause_.advice, HasSubstr("a user whom the server admits"));
}

TEST_F(PlantedTest, AnotherProcessHasTakenTheNotificationPipe) {
  const PipeServer request(kRequestPipe, AnswerAll, 8);
  Program squatter(L"zorctl_doctor_tests.exe", {L"squat"});
  ASSERT_TRUE(squatter.WaitForOutput("squatting"));
  Examine();
  const auto first = std::ranges::find(findings_, Verdict::kFault, &Finding::verdict);
  ASSERT_NE(first, findings_.end());
  EXPECT_EQ(first->step, "server_process");
  EXPECT_THAT(first->found, HasSubstr("the pipes belong to two processes"));
  EXPECT_THAT(first->found, HasSubstr("zorctl_doctor_tests.exe"));
}

TEST_F(PlantedTest, TheServerAdmitsOneClient) {
  // It listens again when its client has gone: doctor's own looks are not in each other's way.
  const PipeServer request(kRequestPipe, AnswerAll, 1, {.instances = 1});
  const PipeServer notify(kNotifyPipe, StayIdle, 8);
  Examine();
  EXPECT_EQ(std::ranges::count(findings_, "request_pipe", &Finding::step), 1);
  EXPECT_THAT(All(), Not(HasSubstr("could not be opened"))) << All();
}

// --- Replies

TEST_F(PlantedTest, GarbageForAReply) {
  ServeWithEvery("ZorIntfGetInfo", sim::ReplyGarbage{.bytes = 64, .seed = 1});
  ExpectCause("server", "64 bytes, is no message of the protocol: ");
  EXPECT_THAT(cause_.lines, ::testing::Contains(HasSubstr("[zor] [RpcClient::ZorIntfGetInfo] The "
                                                          "IPC gotten data is invalid")));
}

TEST_F(PlantedTest, HttpForAReply) {
  const std::string http = "HTTP/1.1 400 Bad Request\r\nServer: x\r\n\r\n";
  ServeWithEvery("", sim::ReplyRaw{{http.begin(), http.end()}});
  ExpectCause("server", "is HTTP: 'HTTP/1.1 400 Bad Request'");
}

TEST_F(PlantedTest, ARepliesThatIsTooLong) {
  ServeWithEvery("", sim::ReplySize{1025});
  ExpectCause("server", "is longer than 1024 bytes (error 234: ");
}

TEST_F(PlantedTest, AnEmptyReply) {
  ServeWithEvery("", sim::ReplyRaw{});
  ExpectCause("server", "is empty: a message of no bytes");
}

TEST_F(PlantedTest, ACutReply) {
  ServeWithEvery("", sim::ReplyTruncated{10});
  ExpectCause("server", "10 bytes, is no message of the protocol: ");
}

TEST_F(PlantedTest, ADroppedConnection) {
  ServeWithEvery("", sim::Drop::kBeforeCall);
  ExpectCause("server", "dropped the connection instead of replying");
  EXPECT_THAT(cause_.found, HasSubstr("(error "));
}

TEST_F(PlantedTest, AServerThatTakesTheRequestAndIsSilent) {
  ServeWithEvery("", sim::NoReply{});
  ExpectCause("server", "did not reply to ZorIntfGetInfo within 20.0 s");
}

TEST_F(PlantedTest, OnlyTheListIsNeverAnswered) {
  ServeWithEvery("ZorIntfEnum", sim::NoReply{});
  ExpectCause("server_list", "did not reply to ZorIntfEnum within 20.0 s");
}

TEST_F(PlantedTest, AServersOwnResultThatIsTheLibrarysToo) {
  ServeWithEvery("", sim::ReplyResult{2});
  ExpectCause("server", "the server itself returned 2 to ZorIntfGetInfo: the pipe works");
  EXPECT_THAT(cause_.lines, ::testing::Contains(HasSubstr("The ZorRet: 2")));
}

TEST_F(PlantedTest, AListThatClaimsBillions) {
  Reply reply = ListOf({"general", "whisper"});
  reply.enum_result->count = 4'000'000'000;
  ServeWithEvery("ZorIntfEnum", sim::ReplyRaw{Build(reply)});
  ExpectCause("server_list", "claims 4000000000 names, but holds 2");
}

TEST_F(PlantedTest, SlowReplies) {
  ServeWithEvery("", std::monostate(), 1500);
  Examine();
  EXPECT_TRUE(ctl::IsHealthy(findings_)) << All();
  EXPECT_THAT(All(), AllOf(HasSubstr("warning  server: the reply to ZorIntfGetInfo came after 1."),
                           HasSubstr("warning  server's list: the reply to ZorIntfEnum came")));
}

// --- Algorithm libraries

TEST_F(PlantedTest, AnAlgorithmLibrarySpins) {
  Serve();
  PlantLibrary(L"ask spin");
  ExpectCause("algorithm_library", "loading and asking K030806.dll did not end within 20.0 s");
}

TEST_F(PlantedTest, AnAlgorithmLibraryHangsWhenItIsLoaded) {
  Serve();
  PlantLibrary(L"load hang");
  ExpectCause("algorithm_library", "loading and asking K030806.dll did not end within 20.0 s");
}

TEST_F(PlantedTest, AnAlgorithmLibraryCrashes) {
  Serve();
  PlantLibrary(L"ask crash");
  ExpectCause("algorithm_library",
              "loading and asking K030806.dll crashed (exception 0xC0000005, access violation)");
}

TEST_F(PlantedTest, AnAlgorithmLibraryCrashesWhenItIsLoaded) {
  Serve();
  PlantLibrary(L"load crash");
  Examine();
  // The loader may take it for a library that refuses.
  const auto first = std::ranges::find(findings_, Verdict::kFault, &Finding::verdict);
  ASSERT_NE(first, findings_.end());
  EXPECT_EQ(first->step, "algorithm_library");
  EXPECT_THAT(first->found, HasSubstr("K030806.dll"));
}

TEST_F(PlantedTest, AnAlgorithmLibraryEndsTheProcess) {
  Serve();
  PlantLibrary(L"ask exit");
  ExpectCause("algorithm_library", "K030806.dll ended the process, with status 7");
}

TEST_F(PlantedTest, AnAlgorithmLibraryLacksWhatItNeeds) {
  Serve();
  Machine::AddLibrary(package_, L"K250902.dll", L"zor_test_needs_helper.dll");
  ExpectCause("algorithm_library", "zor_test_helper.dll, which K250902.dll needs, is missing");
}

TEST_F(PlantedTest, WhatAnAlgorithmLibraryNeedsIsDamagedOrOfAnotherKind) {
  Serve();
  Machine::AddLibrary(package_, L"K250902.dll", L"zor_test_needs_helper.dll");
  Machine::AddLibrary(package_, L"zor_test_helper.dll", L"zor_test_answers.dll");
  ExpectCause("algorithm_library",
              "zor_test_helper.dll, which K250902.dll needs, lacks the function zor_test_help");
  std::ofstream(package_ / L"zor_test_helper.dll", std::ios::binary) << "no library";
  ExpectCause("algorithm_library", "zor_test_helper.dll, which K250902.dll needs, is no library");
}

TEST_F(PlantedTest, TwoFilesOfOneAlgorithm) {
  Serve();
  Machine::AddLibrary(package_, L"K270506.dll", L"zor_test_answers.dll");
  Examine();
  EXPECT_THAT(All(), HasSubstr("general has 2 libraries: K270502.dll, K270506.dll"));
}

TEST_F(PlantedTest, ManyLibrariesHangAndDoctorStillComesToItsEnd) {
  Serve();
  PlantLibrary(L"ask spin");
  for (const wchar_t* file :
       {L"K030F06.dll", L"K030Q06.dll", L"K250902.dll", L"K250906.dll", L"K250B06.dll",
        L"K030R06.dll", L"K030S06.dll", L"K030T06.dll", L"K030U06.dll", L"K030W06.dll"}) {
    std::filesystem::copy_file(package_ / L"K030806.dll", package_ / file);
  }
  Examine({});
  EXPECT_THAT(All(), AllOf(HasSubstr("did not end within"), HasSubstr("no time was left for it")));
}

}  // namespace
}  // namespace zor::testing
