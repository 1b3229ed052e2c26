// Scenario files: what each key does, and what is said about each mistake.
#include "simulator/scenario_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "simulator/default_scenario.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

Scenario Read(std::string_view text) {
  ScenarioResult result = ReadScenario(text, "s.json", SmallScenario());
  EXPECT_THAT(result.errors, IsEmpty());
  return result.scenario.value_or(Scenario{});
}

std::vector<std::string> Errors(std::string_view text) {
  const ScenarioResult result = ReadScenario(text, "s.json", {});
  EXPECT_FALSE(result.scenario) << "a wrong scenario is not used";
  return result.errors;
}

/// The scenario's one fault.
Fault ReadFault(const std::string& text) {
  return Read("{\"faults\": [" + text + "]}").faults.at(0);
}

ScriptedEvent ReadEvent(const std::string& text) {
  return Read("{\"events\": [" + text + "]}").events.at(0);
}

TEST(ScenarioReader, AnEmptyObjectChangesNothing) {
  const Scenario scenario = Read("{}");
  EXPECT_EQ(scenario.information, SmallScenario().information);
  EXPECT_EQ(scenario.lists, SmallScenario().lists);
  EXPECT_THAT(scenario.parameters, SizeIs(3));
  EXPECT_EQ(scenario.limits.instances, 3U);
}

TEST(ScenarioReader, AKeyReplacesItsWholeValue) {
  const Scenario scenario = Read(R"({
    "information": [1, 2, 3, 4294967295],
    "lists": {"5": ["x", ""], "0": []},
    "parameters": [{"name": "p", "default": 2, "min": -1, "max": 3, "read_only": true},
                   {"name": "q"}],
    "blobs": [{"name": "h", "hex": "00 fF10"}, {"name": "", "text": "hi"},
              {"name": "b", "bytes": 3, "fill": 7}],
    "echo_set": false
  })");
  EXPECT_THAT(scenario.information, ElementsAre(1U, 2U, 3U, 4294967295U));
  ASSERT_THAT(scenario.lists, SizeIs(2));
  EXPECT_THAT(scenario.lists.at(5), ElementsAre("x", ""));
  EXPECT_THAT(scenario.lists.at(0), IsEmpty());
  ASSERT_THAT(scenario.parameters, SizeIs(2));
  EXPECT_EQ(scenario.parameters[0].name, "p");
  EXPECT_EQ(scenario.parameters[0].initial, 2.0F);
  ASSERT_TRUE(scenario.parameters[0].range);
  EXPECT_EQ(scenario.parameters[0].range->min, -1.0F);
  EXPECT_EQ(scenario.parameters[0].range->max, 3.0F);
  EXPECT_TRUE(scenario.parameters[0].read_only);
  EXPECT_FALSE(scenario.parameters[1].range);
  EXPECT_FALSE(scenario.parameters[1].read_only);
  ASSERT_THAT(scenario.blobs, SizeIs(3));
  EXPECT_EQ(scenario.blobs[0].data, (Bytes{0, 0xFF, 0x10}));
  EXPECT_EQ(scenario.blobs[1].data, (Bytes{'h', 'i'}));
  EXPECT_EQ(scenario.blobs[2].data, (Bytes{7, 7, 7}));
  EXPECT_FALSE(scenario.echo_set);
}

TEST(ScenarioReader, InstancesThatAreThereFromTheStart) {
  const Scenario scenario = Read(R"({
    "instances": [{"handle": 4294967295, "status": 255, "parameters": {"gain": 2}}, {"handle": 1}],
    "installed": ["general"]
  })");
  ASSERT_THAT(scenario.instances, SizeIs(2));
  EXPECT_EQ(scenario.instances[0].handle, 4294967295U);
  EXPECT_EQ(scenario.instances[0].status, 255);
  EXPECT_EQ(scenario.instances[0].parameters.at("gain"), 2.0F);
  EXPECT_EQ(scenario.instances[1].status, 1);
  EXPECT_THAT(scenario.installed, ElementsAre("general"));
}

TEST(ScenarioReader, ALimitThatIsLeftOutStays) {
  const Limits limits = Read(R"({"limits": {"blob_bytes": 10, "request_bytes": 65536,
      "reply_bytes": 2048, "queued_notifications": 5, "blobs_per_instance": 7}})")
                            .limits;
  EXPECT_EQ(limits.instances, 3U);
  EXPECT_EQ(limits.blob_bytes, 10U);
  EXPECT_EQ(limits.request_bytes, 65536U);
  EXPECT_EQ(limits.reply_bytes, 2048U);
  EXPECT_EQ(limits.queued_notifications, 5U);
  EXPECT_EQ(limits.blobs_per_instance, 7U);
}

TEST(ScenarioReader, AFaultSaysWhichCalls) {
  Fault fault = ReadFault(R"({"call": "ZorIntfGet", "nth": 3, "times": 0, "result": 5})");
  EXPECT_EQ(fault.match.function, "ZorIntfGet");
  EXPECT_EQ(fault.match.nth, 3U);
  EXPECT_EQ(fault.match.times, 0U);
  EXPECT_EQ(fault.delay_ms, 0U);

  fault = ReadFault(R"({"call": "any", "delay_ms": 50})");
  EXPECT_EQ(fault.match.function, "");
  EXPECT_EQ(fault.match.nth, 1U);
  EXPECT_EQ(fault.match.times, 1U);
  EXPECT_EQ(fault.delay_ms, 50U);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(fault.action));
  EXPECT_EQ(ReadFault(R"({"no_reply": true})").match.function, "");
}

TEST(ScenarioReader, EveryFaultAction) {
  const auto action = [](const std::string& text) { return ReadFault(text).action; };
  EXPECT_EQ(std::get<Drop>(action(R"({"drop": "unread"})")), Drop::kUnread);
  EXPECT_EQ(std::get<Drop>(action(R"({"drop": "before_call"})")), Drop::kBeforeCall);
  EXPECT_EQ(std::get<Drop>(action(R"({"drop": "after_call"})")), Drop::kAfterCall);
  EXPECT_EQ(std::get<Drop>(action(R"({"drop": "after_reply"})")), Drop::kAfterReply);
  EXPECT_EQ(std::get<ClosePipes>(action(R"({"close_pipes_ms": 20})")).milliseconds, 20U);
  EXPECT_EQ(std::get<ReplyResult>(action(R"({"result": 4294967295})")).result, 4294967295U);
  EXPECT_EQ(std::get<ReplySize>(action(R"({"reply_bytes": 1025})")).bytes, 1025U);
  EXPECT_EQ(std::get<ReplyTruncated>(action(R"({"truncate_to": 3})")).bytes, 3U);
  const auto garbage = std::get<ReplyGarbage>(action(R"({"garbage_bytes": 9, "seed": 4})"));
  EXPECT_EQ(garbage.bytes, 9U);
  EXPECT_EQ(garbage.seed, 4U);
  EXPECT_EQ(std::get<ReplyRaw>(action(R"({"raw_reply": "0102"})")).bytes, (Bytes{1, 2}));
  EXPECT_THAT(std::get<ReplyRaw>(action(R"({"empty_reply": true})")).bytes, IsEmpty());
  EXPECT_TRUE(std::holds_alternative<ReplyWithoutOutputs>(action(R"({"without_outputs": true})")));
  EXPECT_TRUE(std::holds_alternative<NoReply>(action(R"({"no_reply": true})")));
}

TEST(ScenarioReader, EveryEventTrigger) {
  const auto trigger = [](const std::string& text) {
    return ReadEvent("{" + text + R"(, "type": 0})").trigger;
  };
  EXPECT_EQ(std::get<AtTime>(trigger(R"("at_ms": 0)")).milliseconds, 0U);
  const auto every = std::get<EveryInterval>(trigger(R"("every_ms": 10, "count": 4)"));
  EXPECT_EQ(every.milliseconds, 10U);
  EXPECT_EQ(every.count, 4U);
  EXPECT_EQ(std::get<EveryInterval>(trigger(R"("every_ms": 10)")).count, 0U);
  EXPECT_TRUE(std::holds_alternative<OnConnect>(trigger(R"("on_connect": true)")));
  const auto call =
      std::get<CallMatch>(trigger(R"("on_call": "ZorIntfSet", "nth": 2, "times": 3)"));
  EXPECT_EQ(call.function, "ZorIntfSet");
  EXPECT_EQ(call.nth, 2U);
  EXPECT_EQ(call.times, 3U);
  EXPECT_EQ(std::get<CallMatch>(trigger(R"("on_call": "any")")).function, "");
}

TEST(ScenarioReader, EveryEventAction) {
  const auto action = [](const std::string& text) {
    return ReadEvent(R"({"at_ms": 1, )" + text + "}").action;
  };
  const auto plain =
      std::get<ScriptedNotification>(action(R"("type": 4, "flag": true, "text": "t")"));
  EXPECT_EQ(plain.notification, (Notification{.type = 4, .flag = true, .text = "t"}));
  EXPECT_EQ(plain.func_name, "ZorIntfNotify");
  EXPECT_EQ(plain.message_bytes, 0U);
  const auto odd = std::get<ScriptedNotification>(
      action(R"("type": 255, "func_name": "other", "message_bytes": 2000)"));
  EXPECT_EQ(odd.notification.type, 255);
  EXPECT_EQ(odd.func_name, "other");
  EXPECT_EQ(odd.message_bytes, 2000U);
  EXPECT_EQ(
      std::get<ScriptedNotification>(action(R"("type": 5, "value": 9, "text": "t")")).notification,
      (Notification{.type = 5, .value = 9, .text = "t"}));
  EXPECT_EQ(std::get<Bytes>(action(R"("raw": "0a")")), Bytes{10});
  EXPECT_TRUE(std::holds_alternative<DropClients>(action(R"("drop_clients": true)")));
  EXPECT_EQ(std::get<ClosePipes>(action(R"("close_pipes_ms": 5)")).milliseconds, 5U);
}

struct Mistake {
  const char* text;
  const char* error;  ///< how the one error begins
};

void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.error; }

class MistakeTest : public ::testing::TestWithParam<Mistake> {};

TEST_P(MistakeTest, IsNamedWithItsLineAndItsKey) {
  const auto errors = Errors(GetParam().text);
  ASSERT_THAT(errors, SizeIs(1)) << GetParam().text;
  EXPECT_THAT(errors[0], StartsWith(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(
    Instances, MistakeTest,
    ::testing::Values(
        Mistake{R"({"instances": [{}]})", "s.json:1: instances[0]"},
        Mistake{R"({"instances": [{"handle": 0}]})", "s.json:1: instances[0].handle"},
        Mistake{R"({"instances": [{"handle": 1, "status": 256}]})",
                "s.json:1: instances[0].status"},
        Mistake{R"({"instances": [{"handle": 1}, {"handle": 1}]})",
                "s.json:1: instances[1]: another instance has the handle 1"},
        Mistake{R"({"parameters": [], "instances": [{"handle": 1, "parameters": {"x": 1}}]})",
                "s.json:1: instances[0].parameters.x: no parameter is named"},
        Mistake{R"({"installed": "x"})", "s.json:1: installed: expected"}));

INSTANTIATE_TEST_SUITE_P(
    Syntax, MistakeTest,
    ::testing::Values(Mistake{"{\n \"echo_set\": tru\n}", "s.json:2:17: syntax error"},
                      Mistake{"", "s.json:1:1: syntax error"},
                      Mistake{"[]", "s.json:1: expected an object, found an array"},
                      Mistake{"{\"echo_set\": true,\n\"echo_set\": true}",
                              "s.json:2: echo_set: this key was given before"},
                      Mistake{"{\n\n\"ecco\": 1}",
                              "s.json:3: ecco: unknown key; expected one of \"information\""}));

INSTANTIATE_TEST_SUITE_P(
    Sections, MistakeTest,
    ::testing::Values(
        Mistake{"{\"information\":\n7}",
                "s.json:2: information: expected an array, found an integer"},
        Mistake{"{\"information\": [1, 2, 3]}",
                "s.json:1: information: expected four words, found 3"},
        Mistake{"{\"information\": [1, 2,\n4294967296, 4]}",
                "s.json:2: information[2]: must be 0 to 4294967295"},
        Mistake{"{\"information\": [1, 2, -1, 4]}",
                "s.json:1: information[2]: must be 0 to 4294967295"},
        Mistake{"{\"information\": [1, 2, 1e30, 4]}",
                "s.json:1: information[2]: must be 0 to 4294967295"},
        Mistake{"{\"information\": [1, 2, 1.5, 4]}",
                "s.json:1: information[2]: expected an integer, found a number"},
        Mistake{"{\"lists\": {\n\"256\": []}}",
                "s.json:2: lists.256: not a selector; expected \"0\" to \"255\""},
        Mistake{"{\"lists\": {\"02\": []}}",
                "s.json:1: lists.02: not a selector; expected \"0\" to \"255\""},
        Mistake{"{\"lists\": {\"2\": [\"a\",\nnull]}}",
                "s.json:2: lists.2[1]: expected a string, found null"},
        Mistake{"{\"lists\": {\"2\": [\"a\\u0000b\"]}}",
                "s.json:1: lists.2[0]: must not contain a NUL character"},
        Mistake{"{\"lists\": []}", "s.json:1: lists: expected an object, found an array"},
        Mistake{"{\"echo_set\":\n1}",
                "s.json:2: echo_set: expected true or false, found an integer"},
        Mistake{"{\"limits\": {\"instances\": 65536}}",
                "s.json:1: limits.instances: must be 0 to 65535"},
        Mistake{"{\"limits\": {\"reply_bytes\": 63}}",
                "s.json:1: limits.reply_bytes: must be 64 to 1048576"},
        Mistake{"{\"limits\": {\n\"speed\": 1}}",
                "s.json:2: limits.speed: unknown key; expected one of \"instances\""}));

INSTANTIATE_TEST_SUITE_P(
    Parameters, MistakeTest,
    ::testing::Values(
        Mistake{"{\"parameters\": [\n{}]}", "s.json:2: parameters[0]: the key \"name\" is missing"},
        Mistake{"{\"parameters\": [5]}",
                "s.json:1: parameters[0]: expected an object, found an integer"},
        Mistake{"{\"parameters\": [{\"name\": \"a\"},\n{\"name\": \"a\"}]}",
                "s.json:2: parameters[1]: another parameter is named \"a\""},
        Mistake{"{\"parameters\": [{\"name\": \"supproted_algo_name\"}]}",
                "s.json:1: parameters[0]: \"supproted_algo_name\" is every instance's own"},
        Mistake{"{\"parameters\": [{\"name\": \"a\", \"min\": 1}]}",
                "s.json:1: parameters[0]: \"min\" and \"max\" go together"},
        Mistake{"{\"parameters\": [{\"name\": \"a\", \"min\": 1, \"max\": 0}]}",
                "s.json:1: parameters[0]: \"min\" is above \"max\""},
        Mistake{"{\"parameters\": [{\"name\": \"a\", \"default\": 2, \"min\": 0, \"max\": 1}]}",
                "s.json:1: parameters[0]: \"default\" is outside"},
        Mistake{"{\"parameters\": [{\"name\": \"a\",\n\"default\": 1e39}]}",
                "s.json:2: parameters[0].default: does not fit a 32-bit float"},
        Mistake{"{\"parameters\": [{\"name\": \"a\",\n\"default\": \"1\"}]}",
                "s.json:2: parameters[0].default: expected a number, found a string"}));

INSTANTIATE_TEST_SUITE_P(
    Blobs, MistakeTest,
    ::testing::Values(
        Mistake{"{\"blobs\": [{\"hex\": \"\"}]}",
                "s.json:1: blobs[0]: the key \"name\" is missing"},
        Mistake{"{\"blobs\": [{\"name\": \"a\"}]}",
                "s.json:1: blobs[0]: one of \"hex\", \"text\", \"bytes\" is missing"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"\",\n\"text\": \"\"}]}",
                "s.json:2: blobs[0].text: cannot stand beside \"hex\""},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"0g\"}]}",
                "s.json:1: blobs[0].hex: expected bytes of two hexadecimal digits each"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"012\"}]}",
                "s.json:1: blobs[0].hex: expected bytes of two hexadecimal digits each"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"0 1\"}]}",
                "s.json:1: blobs[0].hex: expected bytes of two hexadecimal digits each"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"\", \"fill\": 1}]}",
                "s.json:1: blobs[0].fill: goes with \"bytes\" only"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"bytes\": 1, \"fill\": 256}]}",
                "s.json:1: blobs[0].fill: must be 0 to 255"},
        Mistake{"{\"blobs\": [{\"name\": \"a\", \"hex\": \"\"}, {\"name\": \"a\", \"hex\": \"\"}]}",
                "s.json:1: blobs[1]: another block is named \"a\""},
        Mistake{"{\"limits\": {\"blob_bytes\": 2},\n\"blobs\": [{\"name\": \"a\", \"bytes\": 3}]}",
                "s.json:2: blobs: the block \"a\" is larger than \"limits.blob_bytes\" allows"},
        Mistake{"{\"limits\": {\"blobs_per_instance\": 0},\n"
                "\"blobs\": [{\"name\": \"a\", \"bytes\": 3}]}",
                "s.json:2: blobs: more blocks than \"limits.blobs_per_instance\" allows"}));

INSTANTIATE_TEST_SUITE_P(
    Faults, MistakeTest,
    ::testing::Values(
        Mistake{"{\"faults\": [\n{\"call\":\n\"ZorIntfFoo\", \"result\": 1}]}",
                "s.json:3: faults[0].call: unknown function \"ZorIntfFoo\"; expected one of "
                "\"ZorIntfConfig\""},
        Mistake{"{\"faults\": [{\"nth\": 0, \"result\": 1}]}",
                "s.json:1: faults[0].nth: must be 1 to 4294967295"},
        Mistake{"{\"faults\": [{\"times\": -1, \"result\": 1}]}",
                "s.json:1: faults[0].times: must be 0 to 4294967295"},
        Mistake{"{\"faults\": [\n{\"call\": \"ZorIntfGet\"}]}",
                "s.json:2: faults[0]: does nothing; expected one of \"drop\""},
        Mistake{"{\"faults\": [{\"result\": 1,\n\"drop\": \"unread\"}]}",
                "s.json:1: faults[0].result: cannot stand beside \"drop\""},
        Mistake{
            "{\"faults\": [{\"drop\": \"now\"}]}",
            "s.json:1: faults[0].drop: unknown way to drop \"now\"; expected one of \"unread\""},
        Mistake{"{\"faults\": [{\"drop\": \"unread\", \"call\": \"ZorIntfGet\"}]}",
                "s.json:1: faults[0]: a request that is not read has no function"},
        Mistake{"{\"faults\": [{\"no_reply\": false}]}",
                "s.json:1: faults[0].no_reply: can only be true"},
        Mistake{"{\"faults\": [{\"reply_bytes\": 0}]}",
                "s.json:1: faults[0].reply_bytes: must be 1 to 1048576"},
        Mistake{"{\"faults\": [{\"result\": 1,\n\"seed\": 1}]}",
                "s.json:2: faults[0].seed: goes with \"garbage_bytes\" only"},
        Mistake{"{\"faults\": [{\"delay_ms\": 86400001}]}",
                "s.json:1: faults[0].delay_ms: must be 0 to 86400000"},
        Mistake{"{\"faults\": [{\"result\": 1, \"wehn\": 1}]}",
                "s.json:1: faults[0].wehn: unknown key; expected one of \"call\""}));

INSTANTIATE_TEST_SUITE_P(
    Events, MistakeTest,
    ::testing::Values(Mistake{"{\"events\": [{\"type\": 0}]}",
                              "s.json:1: events[0]: never happens; expected one of \"at_ms\""},
                      Mistake{"{\"events\": [{\"at_ms\": 0}]}",
                              "s.json:1: events[0]: does nothing; expected one of \"type\""},
                      Mistake{"{\"events\": [{\"at_ms\": 0,\n\"every_ms\": 5, \"type\": 0}]}",
                              "s.json:2: events[0].every_ms: cannot stand beside \"at_ms\""},
                      Mistake{"{\"events\": [{\"at_ms\": 0, \"type\": 256}]}",
                              "s.json:1: events[0].type: must be 0 to 255"},
                      Mistake{"{\"events\": [{\"at_ms\": 0, \"type\": 1,\n\"flag\": true}]}",
                              "s.json:2: events[0].flag: type 1 does not carry it"},
                      Mistake{"{\"events\": [{\"at_ms\": 0, \"type\": 0, \"text\": \"\"}]}",
                              "s.json:1: events[0].text: type 0 does not carry it"},
                      Mistake{"{\"events\": [{\"at_ms\": 0, \"type\": 9, \"value\": 1}]}",
                              "s.json:1: events[0].value: type 9 does not carry it"},
                      Mistake{
                          "{\"events\": [{\"at_ms\": 0, \"raw\": \"\",\n\"func_name\": \"x\"}]}",
                          "s.json:2: events[0].func_name: unknown key"},
                      Mistake{"{\"events\": [{\"at_ms\": 0, \"count\": 2, \"type\": 0}]}",
                              "s.json:1: events[0].count: unknown key"},
                      Mistake{"{\"events\": [{\"on_connect\": true, \"drop_clients\": true}]}",
                              "s.json:1: events[0]: \"on_connect\" goes with a message only"},
                      Mistake{"{\"events\": [{\"on_call\": \"ZorIntfNotify\", \"type\": 0}]}",
                              "s.json:1: events[0].on_call: unknown function \"ZorIntfNotify\""},
                      Mistake{"{\"events\": [{\"every_ms\": 0, \"type\": 0}]}",
                              "s.json:1: events[0].every_ms: must be 1 to 86400000"}));

TEST(ScenarioReader, EveryMistakeIsToldInTheOrderOfTheLines) {
  const auto errors = Errors(
      "{\n\"faults\": [{\"result\": -1}],\n\"echo_set\": 1,\n"
      "\"information\": 2,\n\"what\": 3}");
  EXPECT_THAT(
      errors,
      ElementsAre(StartsWith("s.json:2: faults[0].result"), StartsWith("s.json:3: echo_set"),
                  StartsWith("s.json:4: information"), StartsWith("s.json:5: what")));
}

TEST(ScenarioReader, AnUnknownFunctionIsToldAllTheKnownOnes) {
  const auto errors = Errors(R"({"faults": [{"call": "x", "result": 1}]})");
  ASSERT_THAT(errors, SizeIs(1));
  for (const char* known : {"ZorIntfConfig", "ZorIntfGetStatus", "ZorIntfStop", "\"any\""}) {
    EXPECT_THAT(errors[0], HasSubstr(known));
  }
}

TEST(LoadScenario, ReadsAFileOnTopOfTheDefault) {
  const auto file = std::filesystem::path(::testing::TempDir()) / "zor_load_scenario_test.json";
  std::ofstream(file) << "{\"echo_set\": false}";
  const ScenarioResult result = LoadScenario(file.string());
  std::filesystem::remove(file);
  EXPECT_THAT(result.errors, IsEmpty());
  ASSERT_TRUE(result.scenario);
  EXPECT_FALSE(result.scenario->echo_set);
  EXPECT_EQ(result.scenario->lists, DefaultScenario().lists);
}

TEST(LoadScenario, AFileThatCannotBeReadIsNamed) {
  for (const std::string file : {"/no/such/file.json", "."}) {
    const ScenarioResult result = LoadScenario(file);
    EXPECT_FALSE(result.scenario);
    EXPECT_THAT(result.errors, ElementsAre(file + ": cannot be read"));
  }
}

}  // namespace
}  // namespace zor::sim
