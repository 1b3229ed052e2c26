// zorctl: the library from a shell.
#include <windows.h>

#include <shellapi.h>

#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "discovery/text.h"
#include "tools/windows/handle.h"
#include "tools/zorctl/arguments.h"
#include "tools/zorctl/commands.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/probe.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/run_call.h"

namespace {

using namespace zor::ctl;  // NOLINT(google-build-using-namespace)

struct LocalMemory {
  void operator()(wchar_t** memory) const noexcept { LocalFree(memory); }
};

/// What stands behind the program's name. Not from main(): its arguments are in the system's code
/// page, which has not all characters.
std::vector<std::string> CommandLineWords() {
  int count = 0;
  const std::unique_ptr<wchar_t*, LocalMemory> words(CommandLineToArgvW(GetCommandLineW(), &count));
  if (words == nullptr) zor::windows::ThrowLastError("reading the command line");
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(zor::ToUtf8(words.get()[i]));
  return arguments;
}

struct Run {
  bool json;
  std::uint32_t timeout_ms;

  int operator()(const Call& call) const {
    const Library library;
    Session session;
    return RunCall(session, call, {.json = json, .timeout_ms = timeout_ms});
  }
  int operator()(const WatchCommand& command) const { return Watch(command, json); }
  int operator()(const LogCommand& command) const { return ShowLog(command, json); }
  int operator()(const DoctorCommand& command) const { return RunDoctor(command, json); }
  int operator()(const DemoCommand& command) const { return RunDemo(command, json); }
  int operator()(const SnapshotCommand& command) const { return TakeSnapshot(command); }
  int operator()(const BatchCommand& command) const { return RunBatch(command, json); }
};

struct Answer {
  int operator()(const Request& request) const {
    return std::visit(Run{request.json, request.timeout_ms}, request.command);
  }
  int operator()(const HelpText& help) const {
    Print(help.text);
    return kDone;
  }
  int operator()(const UsageError& error) const {
    Say(error.text);
    return kUsage;
  }
};

}  // namespace

int main() try {
  std::vector<std::string> words = CommandLineWords();
  if (!words.empty() && words.front() == kProbeWord) {
    return RunProbe({words.begin() + 1, words.end()});
  }
  return std::visit(Answer{}, ParseArguments(std::move(words), Scope::kShell));
} catch (const std::exception& error) {
  Say(error.what());
  return kFailed;
}
