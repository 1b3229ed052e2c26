// Where the handles of a server begin.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario_reader.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

std::uint32_t Create(InstanceModel& model) {
  std::uint32_t handle = 0;
  EXPECT_EQ(model.Create("general", handle), Result::kSuccess);
  return handle;
}

TEST(FirstHandle, IsTheScenarios) {
  Scenario scenario = SmallScenario();
  scenario.first_handle = 4711;
  InstanceModel model(scenario);
  EXPECT_EQ(Create(model), 4711U);
  EXPECT_EQ(Create(model), 4712U);
}

TEST(FirstHandle, Is1WithoutOne) {
  const Scenario scenario = SmallScenario();
  InstanceModel model(scenario);
  EXPECT_EQ(Create(model), 1U);
}

TEST(FirstHandle, IsReadFromAScenario) {
  const auto read = ReadScenario(R"({"first_handle": 4711})", "f", {});
  ASSERT_TRUE(read.scenario);
  EXPECT_EQ(read.scenario->first_handle, 4711U);
  EXPECT_EQ(ReadScenario("{}", "f", {}).scenario->first_handle, 0U);
}

}  // namespace
}  // namespace zor::sim
