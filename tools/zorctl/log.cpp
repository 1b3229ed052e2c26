#include "tools/zorctl/commands.h"

#include <fmt/format.h>

#include <optional>

#include "tools/zorctl/child_process.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/debug_viewer.h"
#include "tools/zorctl/printable.h"
#include "tools/zorctl/report.h"

namespace zor::ctl {
namespace {

void Show(const DebugMessage& message, bool with_process, bool json) {
  std::string text = message.text;
  if (text.ends_with('\n')) text.pop_back();
  if (!json) text = Printable(text);
  if (json) {
    Print(ToLine({{"process", message.process_id}, {"text", text}}));
  } else if (with_process) {
    Print(fmt::format("{:6} {}\n", message.process_id, text));
  } else {
    Print(text + '\n');
  }
}

}  // namespace

int ShowLog(const LogCommand& command, bool json) {
  DebugViewer viewer(command.global ? DebugScope::kGlobal : DebugScope::kSession);
  std::optional<ChildProcess> program;
  if (command.program.empty()) {
    Say(command.global ? "log: showing the debug log of session 0; Ctrl-C ends"
                       : "log: showing the debug log; Ctrl-C ends");
  } else {
    program = StartProgram(command.program);
  }

  const HANDLE until = program ? program->process.get() : StopSignal();
  while (const auto message = viewer.Next(until)) {
    if (program && message->process_id != program->id) continue;
    if (command.all || message->text.starts_with("[zor] ")) Show(*message, !program, json);
  }
  return program ? program->ExitStatus() : kDone;
}

}  // namespace zor::ctl
