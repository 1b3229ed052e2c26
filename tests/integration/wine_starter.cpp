// Starts a program and reports to a file what became of it: see scripts/programs.py.
//
// usage: wine_starter PROGRAM [ARGUMENT...], with the report's path in ZOR_START_REPORT
//
// The report's lines: "running", then those of starts that were tried again, then "status NUMBER"
// when the program has ended, or "error NUMBER" when it could not be started.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <memory>
#include <system_error>

#include "tests/integration/support/start_process.h"

namespace {

constexpr const wchar_t* kReport = L"ZOR_START_REPORT";

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

/// The command line without this program's own name: quoted as it came.
const wchar_t* CommandToStart() {
  const wchar_t* rest = GetCommandLineW();
  const bool quoted = *rest == L'"';
  rest = std::wcschr(quoted ? rest + 1 : rest, quoted ? L'"' : L' ');
  if (rest == nullptr) return L"";
  if (quoted) ++rest;
  return rest + std::wcsspn(rest, L" ");
}

STARTUPINFOW WithTheseStreams() {
  STARTUPINFOW startup{};
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  return startup;
}

}  // namespace

int main() {
  const wchar_t* path = _wgetenv(kReport);
  const std::unique_ptr<std::FILE, FileCloser> report(path == nullptr ? nullptr
                                                                      : _wfopen(path, L"a"));
  if (report == nullptr) return 1;
  const auto say = [&](const char* what, unsigned long number) {
    std::fprintf(report.get(), "%s %lu\n", what, number);
    std::fflush(report.get());
  };
  std::fputs("running\n", report.get());
  std::fflush(report.get());
  SetEnvironmentVariableW(kReport, nullptr);
  try {
    const zor::testing::UniqueHandle program =
        zor::testing::StartProcess(CommandToStart(), WithTheseStreams(), true, report.get());
    WaitForSingleObject(program.get(), INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(program.get(), &status);
    say("status", status);
    return status == 0 ? 0 : 1;
  } catch (const std::system_error& error) {
    say("error", static_cast<unsigned long>(error.code().value()));
    return 1;
  }
}
