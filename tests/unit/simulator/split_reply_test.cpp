// A reply that is sent in two messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario_reader.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;

Reaction ReactTo(const std::optional<FaultAction>& action) {
  Scenario scenario = SmallScenario();
  if (action) scenario.faults = {{.action = *action}};
  Engine engine(scenario);
  return engine.OnRequest(Plain("ZorIntfGetInfo"));
}

TEST(SplitReply, IsTheWholeInTwoParts) {
  const Bytes whole = *ReactTo(std::nullopt).reply;
  const Reaction split = ReactTo(ReplySplit{.bytes = 5, .rest_after_ms = 7});
  EXPECT_EQ(split.rest_delay_ms, 7U);
  ASSERT_TRUE(split.reply && split.rest);
  EXPECT_EQ(split.reply->size(), 5U);
  Bytes joined = *split.reply;
  joined.insert(joined.end(), split.rest->begin(), split.rest->end());
  EXPECT_EQ(joined, whole);
}

TEST(SplitReply, HasNoRestWhenItIsNotLonger) {
  const Bytes whole = *ReactTo(std::nullopt).reply;
  const auto size = static_cast<std::uint32_t>(whole.size());
  EXPECT_FALSE(ReactTo(ReplySplit{.bytes = size}).rest);
  EXPECT_TRUE(ReactTo(ReplySplit{.bytes = size - 1}).rest);
  EXPECT_EQ(ReactTo(ReplySplit{.bytes = size}).reply, whole);
}

TEST(SplitReply, IsReadFromAScenario) {
  const auto read = ReadScenario(R"({"faults": [{"split_at": 5, "rest_after_ms": 7}]})", "f", {});
  ASSERT_TRUE(read.scenario);
  const auto& split = std::get<ReplySplit>(read.scenario->faults.at(0).action);
  EXPECT_EQ(split.bytes, 5U);
  EXPECT_EQ(split.rest_after_ms, 7U);
}

TEST(SplitReply, GoesAloneWithTheTimeOfItsRest) {
  const auto read =
      ReadScenario(R"({"faults": [{"no_reply": true, "rest_after_ms": 7}]})", "f", {});
  EXPECT_THAT(read.errors,
              ElementsAre(R"(f:1: faults[0].rest_after_ms: goes with "split_at" only)"));
}

}  // namespace
}  // namespace zor::sim
