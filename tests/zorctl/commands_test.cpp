// zorctl.exe as a shell runs it, against a simulated server in this process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "simulator/default_scenario.h"
#include "simulator/server.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/zorctl/support/program.h"

namespace zor::testing {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Words = std::vector<std::wstring>;

/// A folder of the test's own, with a name that no code page has.
class Folder {
 public:
  Folder()
      : path_(std::filesystem::temp_directory_path() /
              (L"zorctl \u00fc\u2603 " + std::to_wstring(GetCurrentProcessId()))) {
    std::filesystem::create_directories(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::wstring Write(const wchar_t* name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
    return (path_ / name).wstring();
  }
  [[nodiscard]] std::wstring NameOf(const wchar_t* name) const { return (path_ / name).wstring(); }

 private:
  std::filesystem::path path_;
};

std::string Contents(const std::wstring& file) {
  std::ifstream stream(std::filesystem::path(file), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<json> Lines(const std::string& text) {
  std::vector<json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
  return lines;
}

/// Each line's time of day has its digits replaced by zeros.
std::string WithoutTimes(std::string text) {
  constexpr std::size_t kTimeLength = 12;
  for (std::size_t line = 0; line < text.size(); line = text.find('\n', line) + 1) {
    for (std::size_t i = line; i < std::min(line + kTimeLength, text.size()); ++i) {
      if (text[i] >= '0' && text[i] <= '9') text[i] = '0';
    }
  }
  return text;
}

class ZorctlTest : public ::testing::Test {
 protected:
  void Serve(sim::Scenario scenario = sim::DefaultScenario()) {
    server_.emplace(std::move(scenario));
    if (const auto error = server_->Start()) throw std::runtime_error(*error);
  }

  /// Standard output of a command that succeeds and says nothing else.
  static std::string OutputOf(const Words& words) {
    const Finished finished = Zorctl(words);
    EXPECT_EQ(finished.status, 0) << finished.err;
    EXPECT_EQ(finished.err, "");
    return finished.out;
  }

  /// The document of a command, whatever its status.
  static json Document(Words words) {
    words.emplace_back(L"--json");
    return json::parse(Zorctl(words).out);
  }

  static void ExpectFailure(const Words& words, int status, const std::string& message) {
    const Finished finished = Zorctl(words);
    EXPECT_EQ(finished.status, status) << finished.err;
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, AllOf(StartsWith("zorctl: "), HasSubstr(message)));
  }

  std::optional<sim::Server> server_;
  Folder folder_;
};

sim::Scenario WithFault(const char* call, sim::FaultAction action) {
  sim::Scenario scenario = sim::DefaultScenario();
  scenario.faults.push_back({.match = {.function = call}, .action = std::move(action)});
  return scenario;
}

// --- Calls

TEST_F(ZorctlTest, ASessionOfSingleCommands) {
  Serve();
  EXPECT_THAT(OutputOf({L"info"}), HasSubstr("info0      1  0x00000001\n"));
  EXPECT_THAT(OutputOf({L"list"}), StartsWith("ID  NAME\n 0  general\n 1  private\n"));
  EXPECT_EQ(OutputOf({L"create", L"general"}), "1\n");
  EXPECT_EQ(OutputOf({L"config", L"1", L"rate", L"48000"}), "");
  EXPECT_EQ(OutputOf({L"start", L"1"}), "");
  EXPECT_EQ(OutputOf({L"set", L"1", L"offset", L"-0.5"}), "");
  EXPECT_EQ(OutputOf({L"get", L"1", L"offset"}), "-0.5\n");
  EXPECT_EQ(OutputOf({L"status", L"1"}), "3\n");
  EXPECT_THAT(OutputOf({L"blob", L"get", L"1", L"preset"}),
              StartsWith("00000000  01 02 03 04 05 06 07 08"));
  EXPECT_EQ(OutputOf({L"stop", L"1"}), "");
  EXPECT_EQ(OutputOf({L"destroy", L"1"}), "");
}

TEST_F(ZorctlTest, EveryCallHasADocument) {
  Serve();
  EXPECT_EQ(Document({L"info"})["info"], (std::vector<int>{1, 0, 0, 0}));
  EXPECT_EQ(Document({L"list", L"--selector", L"0"})["names"],
            (std::vector<std::string>{"playback", "capture"}));
  EXPECT_EQ(Document({L"create", L"whisper"})["handle"], 1);
  for (const Words& words : {Words{L"config", L"1", L"rate"},
                             {L"start", L"1"},
                             {L"set", L"1", L"mix", L"0.1"},
                             {L"blob", L"set", L"1", L"b", folder_.Write(L"b", "xy")},
                             {L"stop", L"1"}}) {
    EXPECT_EQ(Document(words)["result"], 0);
  }
  EXPECT_EQ(Document({L"get", L"1", L"mix"})["value"], 0.1);
  EXPECT_EQ(Document({L"status", L"1"})["status"], 4);
  EXPECT_EQ(Document({L"blob", L"get", L"1", L"b"})["bytes"], (std::vector<int>{'x', 'y'}));
  EXPECT_EQ(Document({L"destroy", L"1"})["export"], "ZorIntfDestroy");
  EXPECT_EQ(Document({L"destroy", L"1"})["result"], 18);
}

TEST_F(ZorctlTest, ArgumentsAndNamesAreUtf8) {
  sim::Scenario scenario = sim::DefaultScenario();
  scenario.lists[2] = {"sch\xC3\xB6n \xE2\x98\x83 \xF0\x9F\x8E\xB5"};
  Serve(std::move(scenario));
  EXPECT_EQ(OutputOf({L"create", L"sch\u00f6n \u2603 \U0001F3B5"}), "1\n");
  EXPECT_THAT(OutputOf({L"list"}), HasSubstr("0  sch\xC3\xB6n \xE2\x98\x83 \xF0\x9F\x8E\xB5\n"));
  EXPECT_EQ(Document({L"list"})["names"][0], "sch\xC3\xB6n \xE2\x98\x83 \xF0\x9F\x8E\xB5");
  ExpectFailure({L"\u00fc\u2603"}, 2, "'\xC3\xBC\xE2\x98\x83' is not a command");
}

TEST_F(ZorctlTest, BlocksKeepEveryByte) {
  Serve();
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  bytes += "\r\n\n\x1A";
  EXPECT_EQ(OutputOf({L"create", L"general"}), "1\n");
  EXPECT_EQ(OutputOf({L"blob", L"set", L"1", L"file", folder_.Write(L"in.bin", bytes)}), "");
  EXPECT_EQ(Zorctl({L"blob", L"set", L"1", L"input", L"-"}, bytes).status, 0);

  const std::wstring file = folder_.NameOf(L"\u2603.bin");
  const Finished written = Zorctl({L"blob", L"get", L"1", L"input", L"-o", file});
  EXPECT_EQ(written.status, 0);
  EXPECT_EQ(written.out, "");
  EXPECT_THAT(written.err, HasSubstr("260 bytes written to "));
  EXPECT_EQ(Contents(file), bytes);

  const Finished piped = Zorctl({L"blob", L"get", L"1", L"file", L"-o", L"-"});
  // The test's reader takes the one carriage return for a line end's.
  std::string expected = bytes;
  expected.erase(expected.find("\r\n"), 1);
  EXPECT_EQ(piped.out, expected);
  EXPECT_EQ(piped.err, "");
}

TEST_F(ZorctlTest, AnEmptyBlockIsNothing) {
  Serve();
  EXPECT_EQ(OutputOf({L"create", L"general"}), "1\n");
  EXPECT_EQ(OutputOf({L"blob", L"get", L"1", L"empty"}), "");
}

TEST_F(ZorctlTest, AlgorithmIdsAreTranslatedByTheListThatIsFetchedFirst) {
  Serve();
  EXPECT_EQ(OutputOf({L"create", L"general"}), "1\n");
  EXPECT_EQ(OutputOf({L"set", L"1", L"supproted_algo_name", L"2"}), "");
  EXPECT_EQ(OutputOf({L"get", L"1", L"supproted_algo_name"}), "2\n");
  ExpectFailure({L"set", L"1", L"supproted_algo_name", L"2", L"--no-list"}, 13, "returned 3");
  ExpectFailure({L"set", L"1", L"supproted_algo_name", L"77"}, 13, "zorctl list");
}

// --- Failures

TEST_F(ZorctlTest, WithoutAServerEveryCallSaysWhatToDo) {
  for (const Words& words :
       {Words{L"info"}, {L"list"}, {L"create", L"general"}, {L"start", L"1"}}) {
    ExpectFailure(words, 12, "What to do: start the audio server");
  }
  EXPECT_EQ(Document({L"info"})["result"], 2);
}

TEST_F(ZorctlTest, AnInvalidReplyIsAFailureOfTheTransport) {
  Serve(WithFault("ZorIntfGetInfo", sim::ReplyGarbage{.bytes = 64, .seed = 1}));
  ExpectFailure({L"info"}, 11, "ZorIntfGetInfo returned 1");
}

TEST_F(ZorctlTest, TheServersOwnResultIsPassedOn) {
  Serve(WithFault("ZorIntfGetInfo", sim::ReplyResult{.result = 4000000000}));
  ExpectFailure({L"info"}, 20, "returned 4000000000: the server's own result.");
  ExpectFailure({L"start", L"9"}, 20, "returned 18: the server's own result.");
}

TEST_F(ZorctlTest, ACallThatTakesTooLongIsCancelled) {
  Serve(WithFault("ZorIntfGetInfo", sim::NoReply{}));
  const Finished info = Zorctl({L"info", L"--timeout", L"0.3", L"--json"});
  EXPECT_EQ(info.status, 5);
  EXPECT_EQ(json::parse(info.out)["timed_out"], true);
  EXPECT_THAT(info.err, HasSubstr("the server did not reply in time, and the call was cancelled"));
  // The time is that of the call: one that is in time is as without it.
  EXPECT_EQ(Zorctl({L"info", L"--timeout", L"100"}).status, 0);
  EXPECT_FALSE(Document({L"info", L"--timeout", L"100"}).contains("timed_out"));
}

TEST_F(ZorctlTest, ABatchAndADemoEndAtACallThatWasCancelled) {
  Serve(WithFault("ZorIntfStart", sim::NoReply{}));
  const std::wstring script =
      folder_.Write(L"s.txt", "create general\nconfig 1 rate\nstart 1\ninfo\n");
  const Finished batch = Zorctl({L"batch", script, L"--keep-going", L"--timeout", L"0.3"});
  EXPECT_EQ(batch.status, 5);
  EXPECT_EQ(batch.out, "1\n");
  EXPECT_THAT(batch.err, HasSubstr("s.txt:3: start: ZorIntfStart returned 1: the server did not"));
  EXPECT_EQ(server_->Counts().requests, 3U);

  Serve(WithFault("ZorIntfStart", sim::NoReply{}));
  EXPECT_EQ(Zorctl({L"demo", L"--timeout", L"0.3"}).status, 5);
}

TEST_F(ZorctlTest, MistakesOfUsageSendNothing) {
  Serve();
  ExpectFailure({}, 2, "a command is missing");
  ExpectFailure({L"set", L"1", L"gain", L"loud"}, 2, "VALUE: 'loud' is not a number");
  ExpectFailure({L"info", L"--nosuch"}, 2, "--nosuch");
  ExpectFailure({L"batch", folder_.NameOf(L"absent.txt")}, 1, "cannot be opened");
  ExpectFailure({L"blob", L"set", L"1", L"b", folder_.NameOf(L"absent.bin")}, 1,
                "absent.bin: the file cannot be opened");
  EXPECT_EQ(server_->Counts().requests, 0U);
}

TEST_F(ZorctlTest, WithoutTheLibraryItSaysSo) {
  // A copy of the program alone.
  const std::wstring copy = folder_.NameOf(L"zorctl.exe");
  std::filesystem::copy_file(std::filesystem::path(BinaryFolder()) / L"zorctl.exe", copy);
  const Finished info = Program(copy, {L"info"}).Finish();
  EXPECT_EQ(info.status, 1);
  EXPECT_THAT(info.err, HasSubstr("ZorInterface.dll: there is no such file (error 2)"));
  EXPECT_EQ(Program(copy, {L"--version"}).Finish().status, 0);
  const Finished doctor = Program(copy, {L"doctor"}).Finish();
  EXPECT_EQ(doctor.status, 3);
  EXPECT_THAT(doctor.out, HasSubstr("Put ZorInterface.dll beside zorctl.exe"));
}

TEST_F(ZorctlTest, WithAnotherLibraryItSaysWhatIsWrong) {
  const std::wstring copy = folder_.NameOf(L"zorctl.exe");
  std::filesystem::copy_file(std::filesystem::path(BinaryFolder()) / L"zorctl.exe", copy);
  const auto info = [&] { return Program(copy, {L"info"}).Finish(); };

  folder_.Write(L"ZorInterface.dll", "no library");
  EXPECT_EQ(info().status, 1);
  EXPECT_THAT(info().err, HasSubstr("the file is not a library, or is damaged"));
  const Finished doctor = Program(copy, {L"doctor"}).Finish();
  EXPECT_EQ(doctor.status, 3);
  EXPECT_THAT(doctor.out, HasSubstr("Replace the file by the ZorInterface.dll of zorctl's own"));
}

TEST_F(ZorctlTest, OutputThatCannotBeWrittenIsAFailure) {
  Serve();
  for (const Output output : {Output::kClosed, Output::kNone}) {
    for (const Words& words : {Words{L"info"}, {L"--help"}}) {
      const Finished finished = Program(L"zorctl.exe", words, {}, output).Finish();
      EXPECT_EQ(finished.status, 1);
      EXPECT_EQ(finished.err, "zorctl: standard output cannot be written to\n");
    }
  }
}

TEST_F(ZorctlTest, ServersTextsReachATerminalInert) {
  sim::Scenario scenario = sim::DefaultScenario();
  scenario.lists[0] = {
      "\x1B[2Jplay\xC2\x9B"
      "back",
      "\x7F"};
  Serve(std::move(scenario));
  EXPECT_EQ(OutputOf({L"list", L"--selector", L"0"}),
            "ID  NAME\n 0  \\x1B[2Jplay\\u009Bback\n 1  \\x7F\n");
  const std::string document = Zorctl({L"list", L"--selector", L"0", L"--json"}).out;
  EXPECT_THAT(document, HasSubstr(R"("\u001b[2Jplay\u009bback")"));
  EXPECT_EQ(json::parse(document)["names"][1], "\x7F");
}

// --- Watch

sim::Scenario WithGreetings() {
  sim::Scenario scenario = sim::DefaultScenario();
  for (std::uint8_t type = 0; type <= 6; ++type) {
    scenario.events.push_back(
        {.trigger = sim::OnConnect{},
         .action = sim::ScriptedNotification{
             .notification = {.type = type, .flag = true, .value = 7, .text = "h\xC3\xA4llo"}}});
  }
  return scenario;
}

TEST_F(ZorctlTest, WatchShowsEachNotificationAsItComes) {
  Serve(WithGreetings());
  const Finished watched = Zorctl({L"watch", L"--count", L"7"});
  EXPECT_EQ(watched.status, 0);
  EXPECT_EQ(WithoutTimes(watched.out),
            "00:00:00.000  type 0  flag true\n"
            "00:00:00.000  type 1  value 7\n"
            "00:00:00.000  type 2  flag true\n"
            "00:00:00.000  type 3  value 7\n"
            "00:00:00.000  type 4  flag true  \"h\xC3\xA4llo\"\n"
            "00:00:00.000  type 5  value 7  \"h\xC3\xA4llo\"\n"
            "00:00:00.000  type 6\n");
}

TEST_F(ZorctlTest, WatchGivesADocumentALine) {
  Serve(WithGreetings());
  const auto lines = Lines(Zorctl({L"watch", L"--count", L"6", L"--json"}).out);
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[5]["type"], 5);
  EXPECT_EQ(lines[5]["value"], 7);
  EXPECT_EQ(lines[5]["text"], "h\xC3\xA4llo");
  EXPECT_EQ(lines[5]["time"].get<std::string>().size(), 29U);
}

TEST_F(ZorctlTest, WatchEndsWithItsTime) {
  Serve(WithGreetings());
  EXPECT_EQ(Zorctl({L"watch", L"--count", L"99", L"--timeout", L"0.5"}).status, 4);
  EXPECT_EQ(Zorctl({L"watch", L"--timeout", L"0.1"}).status, 0);
}

TEST_F(ZorctlTest, WatchWaitsForAServerThatIsNotThereYet) {
  Program watch(L"zorctl.exe", {L"watch", L"--count", L"1"});
  ASSERT_TRUE(watch.WaitForError("the server is not there yet"));
  Serve(WithGreetings());
  const Finished finished = watch.Finish();
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.out, HasSubstr("type 0  flag true\n"));
}

TEST_F(ZorctlTest, WatchTellsWhenTheServerGoesAndComes) {
  Serve(WithGreetings());
  Program watch(L"zorctl.exe", {L"watch", L"--count", L"14"});
  ASSERT_TRUE(watch.WaitForOutput("type 6"));
  server_.reset();
  ASSERT_TRUE(watch.WaitForError("zorctl: watch: the server is gone; waiting for it"));
  Serve(WithGreetings());
  ASSERT_TRUE(watch.WaitForError("zorctl: watch: the server is there"));
  EXPECT_EQ(watch.Finish().status, 0);
}

// --- Log

TEST_F(ZorctlTest, LogShowsWhatAProgramsLibrarySaysAndEndsWithItsStatus) {
  const std::wstring zorctl = L"zorctl.exe";
  const Finished logged = Zorctl({L"log", L"--", zorctl, L"info"});
  EXPECT_EQ(logged.status, 12);
  EXPECT_THAT(logged.out, HasSubstr("[zor] Error occurred while connecting to the server: 2\n"));
  EXPECT_THAT(logged.err, HasSubstr("zorctl: info: ZorIntfGetInfo returned 2"));

  const auto lines = Lines(Zorctl({L"log", L"--json", L"--", zorctl, L"info"}).out);
  ASSERT_FALSE(lines.empty());
  EXPECT_GT(lines[0]["process"], 0);
  EXPECT_THAT(lines[0]["text"].get<std::string>(), StartsWith("[zor] "));
}

TEST_F(ZorctlTest, LogOfEveryProcessNamesIt) {
  Program log(L"zorctl.exe", {L"log"});
  ASSERT_TRUE(log.WaitForError("showing the debug log"));
  EXPECT_EQ(Zorctl({L"info"}).status, 12);
  EXPECT_TRUE(log.WaitForOutput("[zor] Error occurred while connecting to the server: 2"));
}

TEST_F(ZorctlTest, ThereIsOneViewerAtATime) {
  Program log(L"zorctl.exe", {L"log"});
  ASSERT_TRUE(log.WaitForError("showing the debug log"));
  ExpectFailure({L"log"}, 1, "another viewer holds the debugger output");
}

/// A view of the viewer's buffer, as programs write to it.
struct DebugBuffer {
  DWORD process;
  char text[4092];
};

TEST_F(ZorctlTest, LogTakesTheLinesOfSession0) {
  Program log(L"zorctl.exe", {L"log", L"--global"});
  ASSERT_TRUE(log.WaitForError("showing the debug log of session 0"));
  const UniqueHandle mapping =
      Require(OpenFileMappingW(FILE_MAP_WRITE, FALSE, L"Global\\DBWIN_BUFFER"), "mapping");
  const UniqueHandle filled =
      Require(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"Global\\DBWIN_DATA_READY"), "event");
  auto* buffer = static_cast<DebugBuffer*>(
      MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, sizeof(DebugBuffer)));
  ASSERT_NE(buffer, nullptr);
  *buffer = {.process = 77, .text = "[zor] from a service\n"};
  SetEvent(filled.get());
  EXPECT_TRUE(log.WaitForOutput("    77 [zor] from a service"));
  UnmapViewOfFile(buffer);
}

/// Whether the object's list grants something to all packaged applications.
bool AdmitsPackages(HANDLE object) {
  std::array<std::byte, 4096> memory{};
  DWORD size = 0;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL list = nullptr;
  if (GetKernelObjectSecurity(object, DACL_SECURITY_INFORMATION, memory.data(), memory.size(),
                              &size) == FALSE ||
      GetSecurityDescriptorDacl(memory.data(), &present, &list, &defaulted) == FALSE ||
      present == FALSE || list == nullptr) {
    return false;
  }
  SID_IDENTIFIER_AUTHORITY authority{{0, 0, 0, 0, 0, 15}};
  PSID packages = nullptr;
  AllocateAndInitializeSid(&authority, 2, 2, 1, 0, 0, 0, 0, 0, 0, &packages);
  bool admits = false;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (GetAce(list, i, &entry) == FALSE) continue;
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) continue;
    admits = admits || EqualSid(&allowed->SidStart, packages) != FALSE;
  }
  FreeSid(packages);
  return admits;
}

TEST_F(ZorctlTest, PackagedApplicationsMayWriteToTheLog) {
  Program log(L"zorctl.exe", {L"log"});
  ASSERT_TRUE(log.WaitForError("showing the debug log"));
  for (const wchar_t* name : {L"DBWIN_BUFFER_READY", L"DBWIN_DATA_READY"}) {
    const UniqueHandle event = Require(OpenEventW(READ_CONTROL, FALSE, name), "event");
    EXPECT_TRUE(AdmitsPackages(event.get()));
  }
  const UniqueHandle mapping =
      Require(OpenFileMappingW(READ_CONTROL, FALSE, L"DBWIN_BUFFER"), "mapping");
  EXPECT_TRUE(AdmitsPackages(mapping.get()));
}

TEST_F(ZorctlTest, AProgramThatIsNotThereCannotBeLogged) {
  ExpectFailure({L"log", L"--", L"nosuchprogram.exe"}, 1, "starting nosuchprogram.exe");
}

TEST_F(ZorctlTest, WhatMakesNoCallTakesNoConnection) {
  Serve();
  EXPECT_EQ(Zorctl({L"log", L"--", L"zorctl.exe", L"--version"}).status, 0);
  EXPECT_EQ(Zorctl({L"--help"}).status, 0);
  EXPECT_EQ(Zorctl({L"set"}).status, 2);
  EXPECT_EQ(server_->Counts().clients, 0U);
}

// --- Batch

constexpr auto kSession =
    "# a session\n"
    "create general\n"
    "config $handle rate 48000\n"
    "start $handle\n"
    "set $handle gain 0.25   # quiet\n"
    "get $handle gain\n"
    "stop $handle\n"
    "destroy $handle\n";

TEST_F(ZorctlTest, ABatchIsOneSession) {
  Serve();
  EXPECT_EQ(OutputOf({L"batch", folder_.Write(L"session.txt", kSession)}), "1\n0.25\n");
  // One client, and one of the notifications.
  EXPECT_LE(server_->Counts().clients, 2U);
  EXPECT_EQ(server_->Counts().requests, 7U);
}

TEST_F(ZorctlTest, ABatchComesFromStandardInputAndRepeats) {
  Serve();
  const Finished batch = Zorctl({L"batch", L"-", L"--repeat", L"20"}, kSession);
  EXPECT_EQ(batch.status, 0);
  EXPECT_THAT(batch.out, StartsWith("1\n0.25\n2\n0.25\n"));
  // Not on a terminal: no progress bar.
  EXPECT_EQ(batch.err, "");
  EXPECT_EQ(server_->Counts().requests, 140U);
}

TEST_F(ZorctlTest, ABatchTellsItsProgressInAFileWhenItIsAsked) {
  Serve();
  const Finished batch = Zorctl({L"batch", L"-", L"--repeat", L"200", L"--progress"}, "info\n");
  EXPECT_EQ(batch.status, 0);
  EXPECT_THAT(batch.err, StartsWith("zorctl: batch: 5% 10/200\nzorctl: batch: 10% 20/200\n"));
  EXPECT_THAT(batch.err, HasSubstr("zorctl: batch: 100% 200/200\n"));
  EXPECT_EQ(std::ranges::count(batch.err, '\n'), 20);
}

TEST_F(ZorctlTest, ABatchReadsUtf16) {
  Serve();
  std::string script = "\xFF\xFE";
  for (const char c : std::string(kSession)) script += {c, '\0'};
  EXPECT_EQ(OutputOf({L"batch", folder_.Write(L"wide.txt", script)}), "1\n0.25\n");
  ExpectFailure({L"batch", folder_.Write(L"cut.txt", script + 'x')}, 2,
                "cut.txt: the file is UTF-16, but ends in half a character");
}

TEST_F(ZorctlTest, ABatchGivesADocumentALine) {
  Serve();
  const auto lines =
      Lines(Zorctl({L"batch", folder_.Write(L"s", kSession), L"--repeat", L"2", L"--json"}).out);
  ASSERT_EQ(lines.size(), 14U);
  EXPECT_EQ(lines[0]["line"], 2);
  EXPECT_EQ(lines[7]["line"], 2);
  EXPECT_EQ(lines[7]["round"], 2);
  EXPECT_EQ(lines[7]["handle"], 2);
  EXPECT_EQ(lines[4]["value"], 0.25);
}

TEST_F(ZorctlTest, AFailureEndsABatchAndNamesItsLine) {
  Serve();
  const std::wstring script = folder_.Write(L"bad.txt", "info\n\nstart 9\nstatus 9\n");
  const Finished batch = Zorctl({L"batch", script});
  EXPECT_EQ(batch.status, 20);
  EXPECT_THAT(batch.err, HasSubstr("bad.txt:3: start: ZorIntfStart returned 18"));
  EXPECT_THAT(batch.err, Not(HasSubstr("status")));
  EXPECT_EQ(server_->Counts().requests, 2U);

  const Finished going = Zorctl({L"batch", script, L"--keep-going"});
  EXPECT_EQ(going.status, 20);
  EXPECT_THAT(going.err, AllOf(HasSubstr("bad.txt:4: status: "), HasSubstr("2 of 3 commands")));
}

TEST_F(ZorctlTest, ABatchWithAMistakeDoesNothing) {
  Serve();
  const struct {
    const char* script;
    const char* message;
  } scripts[] = {
      {"info\nstart\n", "s.txt:2: start: HANDLE is required"},
      {"info\nwatch\n", "s.txt:2: 'watch' is not a command"},
      {"start $handle\n", "s.txt:1: $handle has no value before the first create"},
      {"create general\nstart $h\n", "s.txt:2: $h is not known"},
      {"create 'x\n", "s.txt: line 1: the quotation mark ' is not closed"},
  };
  for (const auto& [script, message] : scripts) {
    ExpectFailure({L"batch", folder_.Write(L"s.txt", script)}, 2, message);
  }
  EXPECT_EQ(server_->Counts().requests, 0U);
}

TEST_F(ZorctlTest, ABatchFetchesTheListOnceForItsTranslations) {
  Serve();
  EXPECT_EQ(OutputOf({L"batch", folder_.Write(L"s",
                                              "create general\n"
                                              "set $handle supproted_algo_name 1\n"
                                              "get $handle supproted_algo_name\n")}),
            "1\n1\n");
  EXPECT_EQ(server_->Counts().requests, 4U);
}

// --- Demo and doctor

TEST_F(ZorctlTest, TheDemoMakesEveryCall) {
  Serve();
  const Finished demo = Zorctl({L"demo"});
  EXPECT_EQ(demo.status, 0) << demo.err;
  for (const char* step : {"GetInfo", "Enum", "Create", "Config", "Start", "Set", "Get",
                           "GetStatus", "SetSerialized", "GetSerialized", "Stop", "Destroy"}) {
    EXPECT_THAT(demo.out, HasSubstr(std::string("ZorIntf") + step));
  }
  EXPECT_THAT(demo.out, HasSubstr("type 3  value 1\n"));
  EXPECT_EQ(server_->Counts().requests, 12U);
}

TEST_F(ZorctlTest, TheDemoEndsAtTheStepThatFails) {
  ExpectFailure({L"doctor", L"--nosuch"}, 2, "--nosuch");
  const Finished absent = Zorctl({L"demo"});
  EXPECT_EQ(absent.status, 12);
  EXPECT_THAT(absent.out, HasSubstr("ZorIntfGetInfo       failed\n"));
  Serve(WithFault("ZorIntfStart", sim::ReplyResult{.result = 19}));
  const Finished refused = Zorctl({L"demo"});
  EXPECT_EQ(refused.status, 20);
  EXPECT_THAT(refused.err, HasSubstr("start: ZorIntfStart returned 19"));
}

TEST_F(ZorctlTest, DoctorFindsThatThisSystemHasNoDriver) {
  Serve();
  const Finished doctor = Zorctl({L"doctor", L"--json"});
  EXPECT_EQ(doctor.status, 3);
  const json findings = json::parse(doctor.out);
  EXPECT_EQ(findings["healthy"], false);
  std::map<std::string, std::string> verdicts;
  for (const json& finding : findings["findings"]) {
    verdicts[finding["step"]] = finding["verdict"];
  }
  EXPECT_EQ(verdicts["request_pipe"], "ok");
  EXPECT_EQ(verdicts["notification_pipe"], "ok");
  EXPECT_EQ(verdicts["server"], "ok");
  EXPECT_EQ(verdicts["driver_query"], "fault");
  EXPECT_EQ(verdicts["server_list"], "ok");
}

}  // namespace
}  // namespace zor::testing
