// From words to commands, and what is said about words that are none.
#include "tools/zorctl/arguments.h"

#include <gmock/gmock.h>

#include <cmath>

namespace zor::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

Request Parse(const Words& words) {
  auto parsed = ParseArguments(words, Scope::kShell);
  if (const auto* error = std::get_if<UsageError>(&parsed)) {
    ADD_FAILURE() << error->text;
    return {};
  }
  return std::get<Request>(parsed);
}

template <typename Part>
Part ParseCall(const Words& words) {
  return std::get<Part>(std::get<Call>(Parse(words).command));
}

std::string ErrorOf(const Words& words, Scope scope = Scope::kShell) {
  const auto parsed = ParseArguments(words, scope);
  const auto* error = std::get_if<UsageError>(&parsed);
  if (error == nullptr) {
    ADD_FAILURE() << "the words were taken";
    return {};
  }
  return error->text;
}

std::string HelpOf(const Words& words) {
  return std::get<HelpText>(ParseArguments(words, Scope::kShell)).text;
}

TEST(Arguments, EveryCallAndWhatMakesCallsHasATimeLimit) {
  EXPECT_EQ(Parse({"info", "--timeout", "1.5"}).timeout_ms, 1500U);
  EXPECT_EQ(Parse({"info"}).timeout_ms, 0U);
  EXPECT_EQ(Parse({"blob", "get", "1", "b", "--timeout", "2"}).timeout_ms, 2000U);
  EXPECT_EQ(std::get<DemoCommand>(Parse({"demo", "--timeout", "3"}).command).timeout_ms, 3000U);
  EXPECT_EQ(std::get<BatchCommand>(Parse({"batch", "f", "--timeout", "3"}).command).timeout_ms,
            3000U);
  EXPECT_THAT(ErrorOf({"info", "--timeout", "0"}), HasSubstr("a time in seconds"));
  // A script has one for all of its lines.
  EXPECT_THAT(ErrorOf({"info", "--timeout", "1"}, Scope::kScript), HasSubstr("--timeout"));
}

TEST(Arguments, EveryExportHasItsCommand) {
  const struct {
    Words words;
    std::string name;
    std::string exported;
  } commands[] = {
      {{"info"}, "info", "ZorIntfGetInfo"},
      {{"list"}, "list", "ZorIntfEnum"},
      {{"create", "general"}, "create", "ZorIntfCreate"},
      {{"config", "1", "rate"}, "config", "ZorIntfConfig"},
      {{"start", "1"}, "start", "ZorIntfStart"},
      {{"stop", "1"}, "stop", "ZorIntfStop"},
      {{"destroy", "1"}, "destroy", "ZorIntfDestroy"},
      {{"set", "1", "gain", "1"}, "set", "ZorIntfSet"},
      {{"get", "1", "gain"}, "get", "ZorIntfGet"},
      {{"status", "1"}, "status", "ZorIntfGetStatus"},
      {{"blob", "set", "1", "preset", "f"}, "blob set", "ZorIntfSetSerialized"},
      {{"blob", "get", "1", "preset"}, "blob get", "ZorIntfGetSerialized"},
  };
  for (const auto& [words, name, exported] : commands) {
    const Call call = std::get<Call>(Parse(words).command);
    EXPECT_EQ(CommandName(call), name);
    EXPECT_EQ(ExportName(call), exported);
  }
}

TEST(Arguments, TheSelectorIsTheAlgorithmsOrAsGiven) {
  EXPECT_EQ(ParseCall<ListCall>({"list"}).selector, 2U);
  EXPECT_EQ(ParseCall<ListCall>({"list", "--selector", "0"}).selector, 0U);
  EXPECT_EQ(ParseCall<ListCall>({"list", "--selector=0x102"}).selector, 258U);
}

TEST(Arguments, TextsAreLeftOutOrGivenAndMayBeEmpty) {
  EXPECT_EQ(ParseCall<CreateCall>({"create", "general"}).value, std::nullopt);
  EXPECT_EQ(ParseCall<CreateCall>({"create", "general", ""}).value, "");
  const auto config = ParseCall<ConfigCall>({"config", "4294967295", "n\xC3\xA4me", "two words"});
  EXPECT_EQ(config.handle, 4294967295U);
  EXPECT_EQ(config.name, "n\xC3\xA4me");
  EXPECT_EQ(config.value, "two words");
}

TEST(Arguments, ATextMayBeACommandsName) {
  EXPECT_EQ(ParseCall<CreateCall>({"create", "list", "info"}).name, "list");
  EXPECT_EQ(ParseCall<GetCall>({"get", "1", "set"}).name, "set");
  EXPECT_EQ(ParseCall<BlobGetCall>({"blob", "get", "1", "get"}).name, "get");
}

TEST(Arguments, ValuesAreFloatsOfEveryKind) {
  const auto value = [](const char* text) {
    return ParseCall<SetCall>({"set", "1", "gain", text}).value;
  };
  EXPECT_EQ(value("0.5"), 0.5F);
  EXPECT_EQ(value("-0.5"), -0.5F);
  EXPECT_EQ(value("+2"), 2.0F);
  EXPECT_EQ(value("1e-3"), 0.001F);
  EXPECT_EQ(value("inf"), INFINITY);
  EXPECT_TRUE(std::isnan(value("nan")));
  EXPECT_EQ(ParseCall<SetCall>({"set", "--", "1", "gain", "-inf"}).value, -INFINITY);
}

TEST(Arguments, TheListBeforeATranslationCanBeLeftOut) {
  EXPECT_FALSE(ParseCall<SetCall>({"set", "1", "supproted_algo_name", "1"}).no_list);
  EXPECT_TRUE(ParseCall<SetCall>({"set", "1", "supproted_algo_name", "1", "--no-list"}).no_list);
  EXPECT_TRUE(ParseCall<GetCall>({"get", "--no-list", "1", "supproted_algo_name"}).no_list);
}

TEST(Arguments, JsonIsAskedForBeforeOrBehindTheCommand) {
  EXPECT_FALSE(Parse({"info"}).json);
  EXPECT_TRUE(Parse({"--json", "info"}).json);
  EXPECT_TRUE(Parse({"info", "--json"}).json);
  EXPECT_TRUE(Parse({"blob", "get", "1", "preset", "--json"}).json);
}

TEST(Arguments, ToolsHaveTheirOptions) {
  const auto watch =
      std::get<WatchCommand>(Parse({"watch", "--count", "3", "--timeout", "1.5"}).command);
  EXPECT_EQ(watch.count, 3U);
  EXPECT_EQ(watch.timeout_ms, 1500U);
  const auto batch =
      std::get<BatchCommand>(Parse({"batch", "-", "--repeat", "7", "--keep-going"}).command);
  EXPECT_EQ(batch.file, "-");
  EXPECT_EQ(batch.repeat, 7U);
  EXPECT_TRUE(batch.keep_going);
  EXPECT_TRUE(std::holds_alternative<DoctorCommand>(Parse({"doctor"}).command));
  EXPECT_TRUE(std::holds_alternative<DemoCommand>(Parse({"demo"}).command));
}

TEST(Arguments, ALoggedProgramKeepsItsOwnOptions) {
  const Request request = Parse({"log", "--all", "--", "app.exe", "--json", "--", "list"});
  EXPECT_FALSE(request.json);
  const auto log = std::get<LogCommand>(request.command);
  EXPECT_TRUE(log.all);
  EXPECT_THAT(log.program, ElementsAre("app.exe", "--json", "--", "list"));
}

TEST(Arguments, AMistakeIsNamedAndHasItsPlaceToLook) {
  EXPECT_EQ(ErrorOf({}), "a command is missing\nSee: zorctl --help");
  EXPECT_EQ(ErrorOf({"sett"}), "'sett' is not a command\nSee: zorctl --help");
  EXPECT_EQ(ErrorOf({"blob", "put"}), "blob: 'put' is not a command\nSee: zorctl blob --help");
  EXPECT_EQ(ErrorOf({"set", "1", "gain"}), "set: VALUE is required\nSee: zorctl set --help");
  EXPECT_EQ(ErrorOf({"set", "one", "gain", "1"}),
            "set: HANDLE: 'one' is not a number from 0 to 4294967295\nSee: zorctl set --help");
  EXPECT_EQ(ErrorOf({"set", "1", "gain", "1e39"}),
            "set: VALUE: '1e39' is not a number that a 32-bit float can hold\n"
            "See: zorctl set --help");
  EXPECT_THAT(ErrorOf({"start", "4294967296"}), StartsWith("start: HANDLE: '4294967296' is not"));
  EXPECT_THAT(ErrorOf({"start", "-1"}), StartsWith("start: HANDLE: '-1' is not"));
  EXPECT_THAT(ErrorOf({"info", "1"}), StartsWith("info: The following argument was not expected"));
  EXPECT_THAT(ErrorOf({"watch", "--timeout", "0"}), HasSubstr("'0' is not a time in seconds"));
  EXPECT_THAT(ErrorOf({"blob", "get", "1", "x", "-o", "-", "--json"}),
              HasSubstr("--json and -o - exclude each other"));
}

TEST(Arguments, AScriptHasTheCallsOnly) {
  EXPECT_TRUE(std::holds_alternative<Request>(ParseArguments({"info"}, Scope::kScript)));
  for (const char* word : {"watch", "log", "doctor", "demo", "batch"}) {
    EXPECT_THAT(ErrorOf({word}, Scope::kScript), HasSubstr("is not a command"));
  }
}

TEST(Arguments, HelpCanBeAskedForInOtherWays) {
  EXPECT_EQ(HelpOf({"/?"}), HelpOf({"--help"}));
  EXPECT_EQ(HelpOf({"help"}), HelpOf({"--help"}));
  EXPECT_EQ(HelpOf({"set", "/?"}), HelpOf({"set", "--help"}));
  EXPECT_EQ(HelpOf({"help", "blob", "get"}), HelpOf({"blob", "get", "--help"}));
  const Words program{"log", "--", "find.exe", "/?"};
  const auto parsed = ParseArguments(program, Scope::kShell);
  const auto& log = std::get<LogCommand>(std::get<Request>(parsed).command);
  EXPECT_EQ(log.program, (Words{"find.exe", "/?"}));
}

TEST(Arguments, EveryCommandHasHelpWithAnExample) {
  for (const Words& words : {Words{"info"},
                             {"list"},
                             {"create"},
                             {"config"},
                             {"start"},
                             {"stop"},
                             {"destroy"},
                             {"set"},
                             {"get"},
                             {"status"},
                             {"blob"},
                             {"blob", "set"},
                             {"blob", "get"},
                             {"watch"},
                             {"log"},
                             {"doctor"},
                             {"demo"},
                             {"batch"}}) {
    Words asking = words;
    asking.emplace_back("--help");
    EXPECT_THAT(HelpOf(asking), HasSubstr("Example:\n  zorctl " + words.front()));
  }
  EXPECT_THAT(HelpOf({"--help"}), HasSubstr("Exit status:\n  0   done"));
  EXPECT_THAT(HelpOf({"--version"}), ::testing::MatchesRegex("zorctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

}  // namespace
}  // namespace zor::ctl
