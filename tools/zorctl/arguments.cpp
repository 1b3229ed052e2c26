#include "tools/zorctl/arguments.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <type_traits>
#include <utility>

#include "tools/zorctl/help.h"
#include "tools/zorctl/numbers.h"

namespace zor::ctl {
namespace {

/// The grammar, bound to one command's members.
class Grammar {
 public:
  explicit Grammar(Scope scope);
  Grammar(const Grammar&) = delete;
  Grammar& operator=(const Grammar&) = delete;

  [[nodiscard]] ParsedArguments Parse(std::vector<std::string> words);

 private:
  void AddCalls();
  void AddInstanceCalls();
  void AddParameterCalls();
  void AddBlobCalls();
  void AddTools();

  /// `command` is what the words stand for once they are parsed.
  template <typename Part>
  CLI::App& Add(CLI::App& parent, const char* name, const Help& help, Part& command);

  static void AddTimeout(CLI::App& app, std::uint32_t& timeout_ms);
  static void AddHandle(CLI::App& app, std::uint32_t& handle);
  static void AddName(CLI::App& app, std::string& name, const char* what);

  [[nodiscard]] std::string WhatIsWrong(const CLI::ParseError& error) const;
  [[nodiscard]] UsageError Explain(const std::string& what) const;

  CLI::App app_{kAbout, "zorctl"};
  Scope scope_;
  bool json_ = false;
  std::uint32_t timeout_ms_ = 0;
  Command command_;

  InfoCall info_;
  ListCall list_;
  CreateCall create_;
  ConfigCall config_;
  ControlCall start_{.control = Control::kStart};
  ControlCall stop_{.control = Control::kStop};
  ControlCall destroy_{.control = Control::kDestroy};
  SetCall set_;
  GetCall get_;
  StatusCall status_;
  BlobSetCall blob_set_;
  BlobGetCall blob_get_;
  WatchCommand watch_;
  LogCommand log_;
  DoctorCommand doctor_;
  DemoCommand demo_;
  SnapshotCommand snapshot_;
  BatchCommand batch_;
};

/// An option or argument whose text `parse` turns into a number, or refuses.
template <typename Number, typename Parse>
CLI::Option* AddNumber(CLI::App& app, const std::string& name, Number& number, Parse parse,
                       const char* kind, const char* description) {
  return app
      .add_option_function<std::string>(
          name,
          [name, kind, parse, &number](const std::string& text) {
            const auto parsed = parse(text);
            if (!parsed) {
              throw CLI::ValidationError(name, fmt::format("'{}' is not {}", text, kind));
            }
            number = *parsed;
          },
          description)
      ->type_name("");
}

/// As AddNumber, for an option that may come several times.
void AddNumbers(CLI::App& app, const std::string& name, std::vector<std::uint32_t>& numbers,
                const char* description);

constexpr auto kUnsignedKind = "a number from 0 to 4294967295";
constexpr auto kSecondsKind = "a time in seconds of at least 0.001";

void AddNumbers(CLI::App& app, const std::string& name, std::vector<std::uint32_t>& numbers,
                const char* description) {
  app.add_option_function<std::vector<std::string>>(
         name,
         [name, &numbers](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             const auto parsed = ParseUnsigned(text);
             if (!parsed) {
               throw CLI::ValidationError(name, fmt::format("'{}' is not {}", text, kUnsignedKind));
             }
             numbers.push_back(*parsed);
           }
         },
         description)
      ->type_name("NUMBER")
      ->allow_extra_args(false);
}

Grammar::Grammar(Scope scope) : scope_(scope) {
  app_.footer(kMainFooter);
  app_.set_version_flag("--version", std::string("zorctl ") + ZOR_VERSION);
  app_.add_flag("--json", json_, kJsonFlag);
  app_.require_subcommand(1);
  AddCalls();
  AddInstanceCalls();
  AddParameterCalls();
  AddBlobCalls();
  if (scope == Scope::kShell) AddTools();
}

template <typename Part>
CLI::App& Grammar::Add(CLI::App& parent, const char* name, const Help& help, Part& command) {
  CLI::App* app = parent.add_subcommand(name, help.about);
  app->footer(help.footer);
  // Not by fallthrough to the parent: an argument could then be taken for a command's name.
  app->add_flag("--json", json_, kJsonFlag);
  app->callback([this, &command] { command_ = command; });
  if constexpr (std::is_constructible_v<Call, Part&>) {
    // A script has one for all of its lines.
    if (scope_ == Scope::kShell) AddTimeout(*app, timeout_ms_);
  }
  return *app;
}

void Grammar::AddTimeout(CLI::App& app, std::uint32_t& timeout_ms) {
  AddNumber(app, "--timeout", timeout_ms, ParseSeconds, kSecondsKind, kTimeoutOption);
}

void Grammar::AddHandle(CLI::App& app, std::uint32_t& handle) {
  AddNumber(app, "HANDLE", handle, ParseUnsigned, kUnsignedKind, "The instance, from create")
      ->required();
}

void Grammar::AddName(CLI::App& app, std::string& name, const char* what) {
  app.add_option("NAME", name, what)->required()->type_name("");
}

void Grammar::AddCalls() {
  Add(app_, "info", kInfoHelp, info_);
  CLI::App& list = Add(app_, "list", kListHelp, list_);
  AddNumber(list, "--selector", list_.selector, ParseUnsigned, kUnsignedKind,
            "Which list; 2, the algorithms, when not given");
}

void Grammar::AddInstanceCalls() {
  CLI::App& create = Add(app_, "create", kCreateHelp, create_);
  AddName(create, create_.name, "What to create: an algorithm of the list");
  create.add_option("VALUE", create_.value, "Sent with it; left out when not given")->type_name("");

  CLI::App& config = Add(app_, "config", kConfigHelp, config_);
  AddHandle(config, config_.handle);
  AddName(config, config_.name, "What to configure");
  config.add_option("VALUE", config_.value, "Sent with it; left out when not given")->type_name("");

  AddHandle(Add(app_, "start", kStartHelp, start_), start_.handle);
  AddHandle(Add(app_, "stop", kStopHelp, stop_), stop_.handle);
  AddHandle(Add(app_, "destroy", kDestroyHelp, destroy_), destroy_.handle);
  AddHandle(Add(app_, "status", kStatusHelp, status_), status_.handle);
}

void Grammar::AddParameterCalls() {
  CLI::App& set = Add(app_, "set", kSetHelp, set_);
  AddHandle(set, set_.handle);
  AddName(set, set_.name, "The parameter");
  AddNumber(set, "VALUE", set_.value, ParseFloat, "a number that a 32-bit float can hold",
            "The value, in the parameter's own unit")
      ->required();
  set.add_flag("--no-list", set_.no_list, kNoListFlag);

  CLI::App& get = Add(app_, "get", kGetHelp, get_);
  AddHandle(get, get_.handle);
  AddName(get, get_.name, "The parameter");
  get.add_flag("--no-list", get_.no_list, kNoListFlag);
}

void Grammar::AddBlobCalls() {
  CLI::App* blob = app_.add_subcommand("blob", kBlobHelp.about);
  blob->footer(kBlobHelp.footer);
  blob->require_subcommand(1);

  CLI::App& set = Add(*blob, "set", kBlobSetHelp, blob_set_);
  AddHandle(set, blob_set_.handle);
  AddName(set, blob_set_.name, "The block");
  set.add_option("FILE", blob_set_.file, "Its bytes; - is standard input")
      ->required()
      ->type_name("");

  CLI::App& get = Add(*blob, "get", kBlobGetHelp, blob_get_);
  AddHandle(get, blob_get_.handle);
  AddName(get, blob_get_.name, "The block");
  get.add_option("-o,--output", blob_get_.file,
                 "Where its bytes go; - is standard output; shown when not given")
      ->type_name("FILE");
  get.parse_complete_callback([this] {
    if (json_ && blob_get_.file == "-") {
      throw CLI::ValidationError("--json and -o - exclude each other");
    }
  });
}

void Grammar::AddTools() {
  CLI::App& watch = Add(app_, "watch", kWatchHelp, watch_);
  AddNumber(watch, "--count", watch_.count, ParseUnsigned, kUnsignedKind,
            "End after so many notifications");
  AddNumber(watch, "--timeout", watch_.timeout_ms, ParseSeconds, kSecondsKind,
            "End after so many seconds, with status 4 if --count is not reached");

  CLI::App& log = Add(app_, "log", kLogHelp, log_);
  log.add_flag("--all", log_.all, "Show every line of the debugger output, not only the library's");
  log.add_flag("--global", log_.global,
               "Show the debug log of session 0, where services run; needs the right to it");
  log.add_option("PROGRAM", log_.program, "The program to run, with its arguments")->type_name("");

  CLI::App& doctor = Add(app_, "doctor", kDoctorHelp, doctor_);
  doctor
      .add_option("--app", doctor_.app, "Look at this program's file first: nothing of it is run")
      ->type_name("PATH");
  doctor
      .add_option("--bundle", doctor_.bundle,
                  "Put the report into this file, without personal names, to be sent to somebody")
      ->type_name("FILE.zip");
  AddTimeout(Add(app_, "demo", kDemoHelp, demo_), demo_.timeout_ms);

  CLI::App& snapshot = Add(app_, "snapshot", kSnapshotHelp, snapshot_);
  AddNumbers(snapshot, "--selector", snapshot_.selectors,
             "A list to take; once for each; 2, the algorithms, when none is given");
  AddNumbers(snapshot, "--instance", snapshot_.instances,
             "The handle of an instance to take; once for each");
  snapshot
      .add_option("--parameter", snapshot_.parameters,
                  "A parameter to take of each of these instances; once for each")
      ->type_name("NAME")
      ->allow_extra_args(false);
  AddNumber(
      snapshot, "--timeout", snapshot_.timeout_ms, ParseSeconds, kSecondsKind,
      "Cancel a call that takes longer than so many seconds, and end with status 5; 5 when not "
      "given");

  CLI::App& batch = Add(app_, "batch", kBatchHelp, batch_);
  batch.add_option("FILE", batch_.file, "The script; - is standard input")
      ->required()
      ->type_name("");
  AddNumber(batch, "--repeat", batch_.repeat, ParseUnsigned, kUnsignedKind,
            "Run the script so many times");
  batch.add_flag("--keep-going", batch_.keep_going, "Go on after a command that failed");
  batch.add_flag("--progress", batch_.progress,
                 "Show the progress also when the output is not a terminal, line by line");
  AddTimeout(batch, batch_.timeout_ms);
}

std::string Grammar::WhatIsWrong(const CLI::ParseError& error) const {
  // A word in the place of a command is said to be one too many, or a command to be missing.
  const CLI::App* app = &app_;
  while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
  const bool takes_command = !app->get_subcommands([](const CLI::App*) { return true; }).empty();
  if (!takes_command) return error.what();
  const auto extra = app->remaining();
  return extra.empty() ? "a command is missing"
                       : fmt::format("'{}' is not a command", extra.front());
}

UsageError Grammar::Explain(const std::string& what) const {
  std::string command = "zorctl";
  std::string place;
  for (const CLI::App* app = &app_; !app->get_subcommands().empty();) {
    app = app->get_subcommands().front();
    command += ' ' + app->get_name();
    place += (place.empty() ? "" : " ") + app->get_name();
  }
  if (!place.empty()) place += ": ";
  return {fmt::format("{}{}\nSee: {} --help", place, what, command)};
}

ParsedArguments Grammar::Parse(std::vector<std::string> words) {
  try {
    // CLI11 takes them from the back.
    std::ranges::reverse(words);
    app_.parse(std::move(words));
    return Request{command_, json_, timeout_ms_};
  } catch (const CLI::CallForHelp&) {
    return HelpText{app_.help()};
  } catch (const CLI::CallForVersion&) {
    return HelpText{app_.version() + '\n'};
  } catch (const CLI::ParseError& error) {
    return Explain(WhatIsWrong(error));
  }
}

/// "/?" and "help COMMAND" as --help, for those who expect them.
void TranslateHelp(std::vector<std::string>& words) {
  constexpr auto kHelp = "--help";
  const auto literal = std::ranges::find(words, "--");
  std::replace(words.begin(), literal, std::string("/?"), std::string(kHelp));
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back(kHelp);
  }
}

}  // namespace

ParsedArguments ParseArguments(std::vector<std::string> words, Scope scope) {
  TranslateHelp(words);
  return Grammar(scope).Parse(std::move(words));
}

}  // namespace zor::ctl
