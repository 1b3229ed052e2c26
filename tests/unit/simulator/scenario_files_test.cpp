// The scenarios that come with the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "simulator/default_scenario.h"
#include "simulator/scenario_reader.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string PathOf(const std::string& name) { return ZOR_SCENARIOS "/" + name + ".json"; }

std::string TextOf(const std::string& name) {
  std::ifstream stream(PathOf(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Scenario Load(const std::string& name) {
  ScenarioResult result = LoadScenario(PathOf(name));
  EXPECT_THAT(result.errors, IsEmpty());
  return result.scenario.value_or(Scenario{});
}

TEST(ScenarioFiles, TheDefaultIsTheOneInTheProgram) {
  EXPECT_EQ(DefaultScenarioText(), TextOf("default"));
  const Scenario& scenario = DefaultScenario();
  EXPECT_THAT(scenario.algorithms(), ElementsAre("general", "private", "whisper", "listen",
                                                 "listening_normalization", "shotgun_bf"));
  EXPECT_THAT(scenario.faults, IsEmpty());
  EXPECT_THAT(scenario.events, IsEmpty());
  EXPECT_TRUE(scenario.echo_set);
}

TEST(ScenarioFiles, TheDefaultLeavesNoKeyOut) {
  // What a program without any file would start from shows in nothing.
  const Limits none;
  const Limits& limits = DefaultScenario().limits;
  EXPECT_EQ(limits.instances, none.instances);
  EXPECT_EQ(limits.reply_bytes, none.reply_bytes);
  const std::string text = TextOf("default");
  const auto errors = ReadScenario(R"({"?": 0, "limits": {"?": 0}})", "", {}).errors;
  ASSERT_THAT(errors, SizeIs(2));
  for (const std::string& error : errors) {
    std::size_t at = error.find("expected one of ");
    ASSERT_NE(at, std::string::npos);
    while ((at = error.find('"', at)) != std::string::npos) {
      const std::size_t end = error.find('"', at + 1);
      const std::string key = error.substr(at, end + 1 - at);
      EXPECT_NE(text.find(key + ":"), std::string::npos) << key;
      at = end + 1;
    }
  }
}

TEST(ScenarioFiles, TheSmallOneSaysOnlyWhatDiffers) {
  const Scenario scenario = Load("minimal");
  EXPECT_THAT(scenario.algorithms(), ElementsAre("general", "whisper"));
  EXPECT_THAT(scenario.parameters, SizeIs(DefaultScenario().parameters.size()));
}

/// The keys that each kind of object can have, as the errors about unknown keys tell them.
std::set<std::string> KnownKeys() {
  const std::string wrong = R"({"?": 0,
    "parameters": [{"name": "p", "?": 0}],
    "blobs": [{"name": "b", "hex": "", "?": 0}],
    "instances": [{"handle": 1, "?": 0}],
    "limits": {"?": 0},
    "faults": [{"result": 1, "?": 0}],
    "events": [{"at_ms": 1, "type": 9, "?": 0}, {"every_ms": 1, "type": 9, "?": 0},
               {"on_call": "any", "type": 9, "?": 0}]})";
  std::set<std::string> keys;
  for (const std::string& error : ReadScenario(wrong, "", {}).errors) {
    std::size_t at = error.find("expected one of ");
    EXPECT_NE(at, std::string::npos) << error;
    while (at != std::string::npos && (at = error.find('"', at)) != std::string::npos) {
      const std::size_t end = error.find('"', at + 1);
      keys.insert(error.substr(at + 1, end - at - 1));
      at = end + 1;
    }
  }
  return keys;
}

TEST(ScenarioFiles, TheFullOneHasEveryKey) {
  const Scenario scenario = Load("full");
  EXPECT_THAT(scenario.faults, SizeIs(16));
  EXPECT_THAT(scenario.events, SizeIs(11));
  const std::string text = TextOf("full");
  const auto keys = KnownKeys();
  EXPECT_THAT(keys, SizeIs(55));
  for (const std::string& key : keys) {
    EXPECT_NE(text.find("\"" + key + "\":"), std::string::npos) << key;
  }
}

}  // namespace
}  // namespace zor::sim
