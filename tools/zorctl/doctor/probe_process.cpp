#include "tools/zorctl/doctor/probe_process.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <utility>

#include "discovery/text.h"
#include "tools/zorctl/child_process.h"

namespace zor::ctl {
namespace {

using std::chrono::milliseconds;

// Under Wine a start is lost now and then: nothing of the program has run.
constexpr int kStarts = 5;
constexpr milliseconds kLeastTime(500);
constexpr DWORD kEndPatienceMs = 5000;

struct Pipe {
  windows::OwnedHandle read;
  windows::OwnedHandle write;  ///< inherited by a child
};

Pipe MakePipe() {
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (CreatePipe(&read, &write, &inherited, 0) == FALSE) windows::ThrowLastError("making a pipe");
  Pipe pipe{windows::OwnedHandle(read), windows::OwnedHandle(write)};
  SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
  return pipe;
}

windows::OwnedHandle OpenNul() {
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  return windows::OwnedHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                          OPEN_EXISTING, 0, nullptr));
}

std::string OwnPath() {
  std::array<wchar_t, 1024> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return ToUtf8(path.data());
}

constexpr const wchar_t* kRootVariable = L"systemroot";

/// As one word: "=" and the value, empty when the variable is not set. Wine sets it anew in each
/// process; what doctor looks at is this one's.
std::string SystemRoot() {
  std::array<wchar_t, 1024> root{};
  const DWORD size =
      GetEnvironmentVariableW(kRootVariable, root.data(), static_cast<DWORD>(root.size()));
  return size == 0 ? std::string() : '=' + ToUtf8(root.data());
}

/// Takes what is in the pipe, without waiting for its end: what a probe has started may hold it.
void Drain(HANDLE pipe, std::string& text) {
  std::array<char, 4096> part{};
  DWORD count = 0;
  while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &count, nullptr) != FALSE && count > 0 &&
         ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &count, nullptr) != FALSE) {
    text.append(part.data(), count);
  }
}

/// Whether the process has ended within the time; its report is read meanwhile, so that it is never
/// held up.
bool WaitForEnd(HANDLE process, milliseconds limit, HANDLE pipe, std::string& text) {
  constexpr milliseconds kStep(20);
  const auto end = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const bool ended =
        WaitForSingleObject(process, static_cast<DWORD>(kStep.count())) == WAIT_OBJECT_0;
    Drain(pipe, text);
    if (ended) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
  }
}

/// Takes the lines of a report apart; one that was cut off by the end of the process is dropped.
bool Parse(const std::string& text, ProbeRun& run) {
  bool has_begun = false;
  bool has_report = false;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) continue;
    has_begun = true;
    if (json.contains("begin")) run.end.step = json["begin"].get<std::string>();
    if (json.contains("line")) run.lines.push_back(json["line"].get<std::string>());
    if (json.contains("report")) {
      run.report = json["report"];
      has_report = true;
    }
  }
  if (run.end.how == ProbeEnd::How::kReported && !has_report) run.end.how = ProbeEnd::How::kEnded;
  // What was reported counts, however the process ended afterwards.
  if (has_report) run.end.how = ProbeEnd::How::kReported;
  return has_begun;
}

struct Child {
  windows::OwnedHandle process;
  windows::OwnedHandle thread;
};

/// Suspended, so that it is in the job before it starts others.
Child Start(const ProbeWords& words, HANDLE report, HANDLE nul) {
  std::vector<std::string> command{OwnPath(), kProbeWord,
                                   std::to_string(reinterpret_cast<std::uintptr_t>(report)),
                                   SystemRoot()};
  command.insert(command.end(), words.begin(), words.end());
  std::wstring line = ToCommandLine(command);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = startup.hStdOutput = startup.hStdError = nul;
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                     CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &started) == FALSE) {
    return {};
  }
  return {windows::OwnedHandle(started.hProcess), windows::OwnedHandle(started.hThread)};
}

/// One start. False when nothing of the program has run.
bool RunOnce(const ProbeWords& words, milliseconds limit, HANDLE job, ProbeRun& run) {
  run = {.end = {}, .report = Json::object(), .lines = {}};
  Pipe pipe = MakePipe();
  const windows::OwnedHandle nul = OpenNul();
  const Child child = Start(words, pipe.write.get(), nul.get());
  const DWORD error = GetLastError();
  if (child.process == nullptr) {
    run.end.how = ProbeEnd::How::kNotStarted;
    run.end.status = error;
    return false;
  }
  AssignProcessToJobObject(job, child.process.get());
  ResumeThread(child.thread.get());
  pipe.write.reset();  // so that the report ends with the child

  std::string text;
  if (!WaitForEnd(child.process.get(), limit, pipe.read.get(), text)) {
    run.end.how = ProbeEnd::How::kTimedOut;
    run.end.limit_ms = static_cast<std::uint32_t>(limit.count());
  }
  // With what it has started itself.
  TerminateJobObject(job, 1);
  TerminateProcess(child.process.get(), 1);
  WaitForSingleObject(child.process.get(), kEndPatienceMs);
  DWORD status = 0;
  GetExitCodeProcess(child.process.get(), &status);
  run.end.status = status;
  Drain(pipe.read.get(), text);
  return Parse(text, run) || run.end.how == ProbeEnd::How::kTimedOut;
}

windows::OwnedHandle MakeJob() {
  windows::OwnedHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
  return job;
}

}  // namespace

Probes::Probes(milliseconds total)
    : end_(std::chrono::steady_clock::now() + total), job_(MakeJob()) {}

milliseconds Probes::LimitFor(milliseconds wanted) const {
  const auto left =
      std::chrono::duration_cast<milliseconds>(end_ - std::chrono::steady_clock::now());
  return std::clamp(left, milliseconds(0), wanted);
}

ProbeRun Probes::Run(const ProbeWords& words, milliseconds limit) const {
  ProbeRun run;
  run.report = Json::object();
  if (limit < kLeastTime) {
    run.end.how = ProbeEnd::How::kNoTime;
    return run;
  }
  for (int start = 0; start < kStarts; ++start) {
    if (RunOnce(words, limit, job_.get(), run)) break;
  }
  return run;
}

HANDLE TakeReportHandle(ProbeWords& words) {
  std::uintptr_t handle = 0;
  if (words.size() < 2) return nullptr;
  const std::string& word = words.front();
  std::from_chars(word.data(), word.data() + word.size(), handle);
  const std::wstring root = ToWide(words[1]);
  SetEnvironmentVariableW(kRootVariable, root.empty() ? nullptr : root.c_str() + 1);
  words.erase(words.begin(), words.begin() + 2);
  return reinterpret_cast<HANDLE>(handle);  // NOLINT(performance-no-int-to-ptr)
}

void WriteReport(HANDLE report, const Json& line) {
  const std::string text = line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
  DWORD written = 0;
  WriteFile(report, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace zor::ctl
