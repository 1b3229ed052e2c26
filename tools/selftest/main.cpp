// zor-selftest: looks at what the library assumes about this machine, and writes it down.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iomanip>
#include <string>
#include <vector>

#include "tools/selftest/acts.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/clock.h"
#include "tools/selftest/machine.h"
#include "tools/selftest/report.h"
#include "tools/selftest/run.h"
#include "tools/selftest/self.h"
#include "tools/selftest/text.h"

namespace zor::selftest {
namespace {

enum Exit : int { kGood = 0, kBad = 1, kRefused = 2 };

constexpr int kUsualLimitSeconds = 120;

constexpr const char* kUsage =
    R"(usage: zor-selftest [--to FOLDER] [--only THEME | --only CHECK]... [--limit SECONDS]
       zor-selftest --list

Looks at what ZorInterface.dll assumes about this machine, first of the system alone, then
of the library beside this program. Writes zor-selftest-report.html, to read, and
zor-selftest-report.json, to send in, beside this program or into FOLDER. Nothing is installed and
nothing is changed.

--only    this check or those of this theme; may be repeated
--limit   what each check gets, in seconds (120)
--list    the checks with their expected answers, as JSON; none is run

Exit status: 0 all is as expected; 1 something is not; 2 nothing was looked at.
)";

struct Options {
  std::wstring folder;
  std::vector<std::string> only;
  int limit_seconds = kUsualLimitSeconds;
};

void Say(std::FILE* where, const std::string& text) {
  static_cast<void>(std::fputs(text.c_str(), where));
  static_cast<void>(std::fflush(where));
}

/// Names of checks, which are ASCII; paths for the console, whose other letters become question
/// marks.
std::string Narrow(const std::wstring& wide) {
  std::string narrow;
  for (const wchar_t c : wide) narrow += c < 128 ? static_cast<char>(c) : '?';
  return narrow;
}

bool IsWanted(const Check& check, const Options& options) {
  if (options.only.empty()) return true;
  return std::ranges::any_of(options.only, [&](const std::string& name) {
    return name == check.name || name == check.theme();
  });
}

bool WriteTextFile(const std::wstring& path, const std::string& text) {
  const UniqueHandle file(
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) return false;
  DWORD count = 0;
  return WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr) !=
             FALSE &&
         count == text.size();
}

/// Into the folder, or where that cannot be written to, into the one for temporary files.
bool WriteReports(const Run& run, std::wstring folder) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (WriteTextFile(folder + L"zor-selftest-report.html", AsHtml(run)) &&
        WriteTextFile(folder + L"zor-selftest-report.json", AsJson(run))) {
      std::printf(
          "\nTo read:    %lszor-selftest-report.html\nTo send in: "
          "%lszor-selftest-report.json\n",
          folder.c_str(), folder.c_str());
      return true;
    }
    Say(stderr, Text("zor-selftest: cannot write to ", Narrow(folder), "\n"));
    std::vector<wchar_t> temporary(MAX_PATH + 1);
    if (GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data()) == 0) return false;
    folder = temporary.data();
  }
  return false;
}

int RunAll(const Options& options) {
  if (AServerIsThere()) {
    Say(stderr,
        "zor-selftest: a server has the library's pipes. Stop it first: this program brings its "
        "own.\n");
    return kRefused;
  }
  std::vector<Check> checks = AllChecks();
  std::erase_if(checks, [&](const Check& check) { return !IsWanted(check, options); });
  if (checks.empty()) {
    Say(stderr, "zor-selftest: there is no such check; see --list\n");
    return kRefused;
  }

  const Platform platform = ThisPlatform();
  Run run{.about = AboutThisMachine(), .limit_seconds = options.limit_seconds, .results = {}};
  for (const auto& [word, value] : run.about) Say(stdout, Text(word, ": ", value, "\n"));
  const Stopwatch watch;
  for (const Check& check : checks) {
    Result result{.check = &check, .sighting = LookInAChild(check, options.limit_seconds)};
    result.verdict = Judge(check, result.sighting, platform);
    Say(stdout, Text(std::left, std::setw(32), check.name, Words(result.verdict), "\n"));
    if (!IsGood(result.verdict)) {
      Say(stdout,
          Text("  expected: ", check.expected, "\n  seen:     ", result.sighting.seen, "\n"));
    }
    run.results.push_back(std::move(result));
  }
  run.about.emplace_back("seconds", std::to_string(static_cast<int>(watch.Microseconds() / 1e6)));

  Say(stdout, Text("\n", CountOf(run, true), " good, ", CountOf(run, false), " bad\n"));
  if (!WriteReports(run, options.folder)) return kRefused;
  return CountOf(run, false) == 0 ? kGood : kBad;
}

/// False when the words are not understood.
bool Parse(const std::vector<std::wstring>& words, Options& options) {
  if (words.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const std::wstring& value = words[i + 1];
    if (words[i] == L"--to") {
      options.folder = value.ends_with(L'\\') || value.ends_with(L'/') ? value : value + L'\\';
    } else if (words[i] == L"--only") {
      options.only.push_back(Narrow(value));
    } else if (words[i] == L"--limit") {
      options.limit_seconds = static_cast<int>(std::wcstol(value.c_str(), nullptr, 10));
      if (options.limit_seconds <= 0) return false;
    } else {
      return false;
    }
  }
  return true;
}

/// Keeps the window of a double click open.
void WaitForTheReader() {
  DWORD processes = 0;
  if (GetConsoleProcessList(&processes, 1) != 1) return;
  Say(stdout, "Press Enter to close this window.\n");
  static_cast<void>(std::getchar());
}

int Main(const std::vector<std::wstring>& words) {
  if (words.size() == 2 && words[0] == L"--check") {
    const std::vector<Check> checks = AllChecks();
    const Check* check = FindCheck(checks, Narrow(words[1]));
    return check == nullptr ? kRefused : LookAndTell(*check);
  }
  if (!words.empty() && words[0] == L"--act") return Act(std::span(words).subspan(1));
  if (words.size() == 1 && words[0] == L"--list") {
    Say(stdout, ListAsJson(AllChecks()));
    return kGood;
  }
  if (words.size() == 1 && (words[0] == L"--help" || words[0] == L"/?")) {
    Say(stdout, kUsage);
    return kGood;
  }
  Options options{.folder = ProgramFolder(), .only = {}};
  if (!Parse(words, options)) {
    Say(stderr, kUsage);
    return kRefused;
  }
  const int code = RunAll(options);
  WaitForTheReader();
  return code;
}

}  // namespace
}  // namespace zor::selftest

int wmain(int argc, wchar_t** argv) {
  try {
    return zor::selftest::Main({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    zor::selftest::Say(stderr, std::string("zor-selftest: ") + error.what() + "\n");
    return zor::selftest::kRefused;
  }
}
