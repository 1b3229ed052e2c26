// The scheduler itself: it leaves no schedule out, and repeats the one that it is given.
#include "tests/schedules/exploration.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/schedules/scheduler.h"

namespace zor::schedules {
namespace {

using ::testing::UnorderedElementsAre;

/// Two threads of two steps each: the steps in their order.
std::string RunTwoThreads(Exploration& exploration) {
  Scheduler scheduler([&exploration](std::size_t count, std::size_t unforced) {
    return exploration.Choose(count, unforced);
  });
  std::string steps;
  for (const char* name : {"a", "b"}) {
    scheduler.Start(name, [&scheduler, &steps, name] {
      for (int i = 0; i < 2; ++i) {
        scheduler.Point("writes");
        steps += name;
      }
    });
  }
  EXPECT_EQ(scheduler.Run(), End::kAllEnded);
  return steps;
}

std::vector<std::string> Explored(int forced_switches) {
  std::vector<std::string> all;
  Exploration exploration(forced_switches);
  do {
    const std::string steps = RunTwoThreads(exploration);
    if (std::find(all.begin(), all.end(), steps) == all.end()) all.push_back(steps);
  } while (exploration.Next());
  return all;
}

TEST(Exploration, LeavesNoScheduleOut) {
  EXPECT_THAT(Explored(0), UnorderedElementsAre("aabb", "bbaa"));
  EXPECT_THAT(Explored(1), UnorderedElementsAre("aabb", "bbaa", "abba", "baab"));
  EXPECT_THAT(Explored(2), UnorderedElementsAre("aabb", "bbaa", "abba", "baab", "abab", "baba"));
}

TEST(Exploration, RepeatsASchedule) {
  Exploration exploration(2);
  do {
    const std::string steps = RunTwoThreads(exploration);
    Exploration again(exploration.name());
    EXPECT_EQ(RunTwoThreads(again), steps) << exploration.name();
  } while (exploration.Next());
}

TEST(Scheduler, FindsADeadlockAndARunWithoutEnd) {
  const auto first = [](std::size_t, std::size_t) { return std::size_t{0}; };
  Scheduler stuck(first);
  stuck.Start("a", [&stuck] { stuck.WaitUntil([] { return false; }, "waits for nothing"); });
  EXPECT_EQ(stuck.Run(), End::kDeadlock);
  EXPECT_EQ(stuck.Describe(), "a: waits for nothing");

  Scheduler endless(first);
  endless.Start("a", [&endless] {
    for (;;) endless.Sleep();
  });
  EXPECT_EQ(endless.Run(), End::kEndless);
}

}  // namespace
}  // namespace zor::schedules
