#include "tools/zorctl/commands.h"

#include <fmt/format.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tools/zorctl/arguments.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/files.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/progress.h"
#include "tools/zorctl/run_call.h"
#include "tools/zorctl/script.h"

namespace zor::ctl {
namespace {

struct Step {
  Call call;
  bool json = false;
};

/// Throws ScriptError.
Step ParseStep(std::vector<std::string> words, std::optional<std::uint32_t> handle) {
  ReplaceVariables(words, handle);
  auto parsed = ParseArguments(std::move(words), Scope::kScript);
  if (const auto* error = std::get_if<UsageError>(&parsed)) throw ScriptError(error->text);
  if (std::holds_alternative<HelpText>(parsed)) throw ScriptError("help is for the shell");
  auto& request = std::get<Request>(parsed);
  return {std::get<Call>(std::move(request.command)), request.json};
}

class Script {
 public:
  /// Throws ScriptError.
  explicit Script(const std::string& file) : name_(file == kStandardStream ? "stdin" : file) {
    const std::vector<std::uint8_t> bytes = ReadBytes(file);
    try {
      std::istringstream stream(ToScriptText(bytes));
      lines_ = ReadScript(stream);
    } catch (const ScriptError& error) {
      throw ScriptError(fmt::format("{}: {}", name_, error.what()));
    }
    CheckAll();
  }

  [[nodiscard]] const std::vector<ScriptLine>& lines() const noexcept { return lines_; }

  [[nodiscard]] std::string PlaceOf(const ScriptLine& line) const {
    return fmt::format("{}:{}: ", name_, line.number);
  }

 private:
  /// Before anything is sent: a script with a mistake does nothing at all.
  void CheckAll() const {
    std::optional<std::uint32_t> handle;
    for (const ScriptLine& line : lines_) {
      try {
        if (std::holds_alternative<CreateCall>(ParseStep(line.words, handle).call)) handle = 0;
      } catch (const ScriptError& error) {
        throw ScriptError(PlaceOf(line) + error.what());
      }
    }
  }

  std::string name_;
  std::vector<ScriptLine> lines_;
};

class Runner {
 public:
  Runner(const Script& script, const BatchCommand& command, bool json)
      : script_(script),
        command_(command),
        json_(json),
        progress_(script.lines().size() * command.repeat, WriterFor(command),
                  IsTerminal() ? ProgressLine::Kind::kBar : ProgressLine::Kind::kLines) {}

  ExitStatus Run() {
    for (std::uint32_t round = 1; round <= command_.repeat; ++round) {
      for (const ScriptLine& line : script_.lines()) {
        progress_.Hide();
        const ExitStatus status = RunLine(line, round);
        ++commands_;
        if (status != kDone) {
          ++failures_;
          if (first_failure_ == kDone) first_failure_ = status;
          // After a cancelled call none may be made.
          if (!command_.keep_going || status == kCallTimedOut) return status;
        }
        progress_.Show(commands_);
      }
    }
    progress_.Hide();
    if (failures_ > 0) Say(fmt::format("{} of {} commands failed", failures_, commands_));
    return first_failure_;
  }

 private:
  static std::function<void(std::string_view)> WriterFor(const BatchCommand& command) {
    if (IsTerminal()) return SayRaw;
    if (!command.progress) return nullptr;
    return [](std::string_view line) { Say(fmt::format("batch: {}", line)); };
  }

  ExitStatus RunLine(const ScriptLine& line, std::uint32_t round) {
    const std::string place = script_.PlaceOf(line);
    try {
      Step step = ParseStep(line.words, session_.last_handle());
      Json members{{"line", line.number}};
      if (command_.repeat > 1) members["round"] = round;
      return RunCall(session_, std::move(step.call),
                     {.json = json_ || step.json,
                      .place = place,
                      .timeout_ms = command_.timeout_ms,
                      .members = members});
    } catch (const std::exception& error) {
      Say(place + error.what());
      return kFailed;
    }
  }

  const Script& script_;
  const BatchCommand& command_;
  bool json_;
  Session session_;
  ProgressLine progress_;
  std::size_t commands_ = 0;
  std::size_t failures_ = 0;
  ExitStatus first_failure_ = kDone;
};

}  // namespace

ExitStatus RunBatch(const BatchCommand& command, bool json) try {
  const Script script(command.file);
  const Library library;
  return Runner(script, command, json).Run();
} catch (const ScriptError& error) {
  Say(error.what());
  return kUsage;
}

}  // namespace zor::ctl
