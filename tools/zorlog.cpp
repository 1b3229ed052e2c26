// Shows the library's debug log: of every process on the machine, or of one program that it runs.
#include <windows.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iomanip>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "tools/debug_viewer.h"
#include "tools/owned_handle.h"

namespace {

using zor::tools::DebugMessage;
using zor::tools::DebugViewer;
using zor::tools::OwnedHandle;
using zor::tools::ThrowLastError;

HANDLE stop_event = nullptr;  // for the console's control handler, which takes no argument

BOOL WINAPI OnConsoleControl(DWORD /*event*/) { return SetEvent(stop_event); }

std::wstring Widen(const std::string& text) {
  const int length =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
  return wide;
}

/// One argument, quoted so that the other side's runtime takes it apart as it was.
std::wstring Quote(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'\\') {
      ++backslashes;
    } else {
      // Only before a quotation mark does a backslash need doubling.
      quoted.append(character == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
      backslashes = 0;
      quoted += character;
    }
  }
  quoted.append(backslashes * 2, L'\\');
  return quoted + L'"';
}

struct Program {
  OwnedHandle process;
  DWORD id = 0;
};

Program Start(const std::vector<std::string>& command) {
  std::wstring line;
  for (const std::string& argument : command) {
    if (!line.empty()) line += L' ';
    line += Quote(Widen(argument));
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &started) == FALSE) {
    ThrowLastError(("starting " + command.front()).c_str());
  }
  CloseHandle(started.hThread);
  return {OwnedHandle(started.hProcess), started.dwProcessId};
}

void Print(const DebugMessage& message, bool with_process) {
  if (with_process) std::cout << std::setw(6) << message.process_id << ' ';
  std::cout << message.text;
  if (!message.text.ends_with('\n')) std::cout << '\n';
  std::cout.flush();
}

int Run(const std::vector<std::string>& command, bool all) {
  DebugViewer viewer;
  const OwnedHandle stopped(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (stopped == nullptr) ThrowLastError("making an event");

  std::optional<Program> program;
  if (!command.empty()) {
    program = Start(command);
  } else {
    stop_event = stopped.get();
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    std::cerr << "zorlog: showing the debug log; Ctrl-C ends\n";
  }

  HANDLE until = program ? program->process.get() : stopped.get();
  while (const auto message = viewer.Next(until)) {
    if (program && message->process_id != program->id) continue;
    if (all || message->text.starts_with("[zor] ")) Print(*message, !program);
  }

  DWORD status = 0;
  if (program && GetExitCodeProcess(program->process.get(), &status) == FALSE) {
    ThrowLastError("reading the program's exit status");
  }
  return static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app{
      "Shows the library's debug log, the lines with the prefix \"[zor] \" of the debugger "
      "output:\n"
      "of every process until Ctrl-C, or of one program until it ends, whose exit status is then\n"
      "zorlog's own.\n\n"
      "  zorlog\n"
      "  zorlog -- session.exe"};
  bool all = false;
  std::vector<std::string> command;
  app.add_flag("--all", all, "Show every line of the debugger output, not only the library's");
  app.add_option("command", command, "The program to run, with its arguments");
  app.positionals_at_end();
  app.set_version_flag("--version", std::string("zorlog ") + ZOR_VERSION);
  CLI11_PARSE(app, argc, argv);
  return Run(command, all);
} catch (const std::exception& error) {
  std::cerr << "zorlog: " << error.what() << '\n';
  return 1;
}
