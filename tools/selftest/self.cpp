#include "tools/selftest/self.h"

#include <vector>

namespace zor::selftest {
namespace {

constexpr DWORD kKilled = 0xDEAD;

UniqueHandle MakeJob() {
  UniqueHandle job = Require(CreateJobObjectW(nullptr, nullptr), "CreateJobObject");
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limit{};
  limit.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limit, sizeof(limit));
  return job;
}

/// Wine gives up a start now and then, before anything of the program has run, and says so.
BOOL Start(std::wstring command, STARTUPINFOW& startup, PROCESS_INFORMATION& started) {
  constexpr int kStarts = 5;
  BOOL ok = FALSE;
  for (int i = 0; i < kStarts; ++i) {
    ok = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup, &started);
    if (ok != FALSE || GetLastError() != ERROR_INTERNAL_ERROR) break;
  }
  return ok;
}

}  // namespace

std::wstring ProgramPath() {
  constexpr std::size_t kLongest = 32'768;
  std::vector<wchar_t> path(kLongest);
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return {path.data(), length};
}

std::wstring ProgramFolder() {
  const std::wstring path = ProgramPath();
  return path.substr(0, path.rfind(L'\\') + 1);
}

SelfProcess::SelfProcess(const std::wstring& arguments, HANDLE output) : job_(MakeJob()) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  PROCESS_INFORMATION started{};
  if (Start(L"\"" + ProgramPath() + L"\" " + arguments, startup, started) == FALSE) {
    ThrowLastError("CreateProcess");
  }
  process_.reset(started.hProcess);
  AssignProcessToJobObject(job_.get(), started.hProcess);
  ResumeThread(started.hThread);
  CloseHandle(started.hThread);
}

DWORD SelfProcess::ExitCode() const noexcept {
  DWORD code = 0;
  GetExitCodeProcess(process_.get(), &code);
  return code;
}

void SelfProcess::Kill() const noexcept {
  TerminateJobObject(job_.get(), kKilled);
  TerminateProcess(process_.get(), kKilled);
  WaitForSingleObject(process_.get(), kPatienceMs);
}

}  // namespace zor::selftest
