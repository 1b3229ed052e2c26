// Which fault befalls which request.
#include "simulator/fault_script.h"

#include <gtest/gtest.h>

#include <string>

namespace zor::sim {
namespace {

constexpr const char* kGet = "ZorIntfGet";
constexpr const char* kSet = "ZorIntfSet";

Fault ResultFault(std::uint32_t result, CallMatch match) {
  return {.match = std::move(match), .action = ReplyResult{result}};
}

/// The results of the faults of `count` requests in turn, 0 for none.
std::vector<std::uint32_t> Results(FaultScript& script, const char* function, int count) {
  std::vector<std::uint32_t> results;
  for (int i = 0; i < count; ++i) {
    const Fault* fault = script.OnRequest(function);
    results.push_back(fault == nullptr ? 0 : std::get<ReplyResult>(fault->action).result);
  }
  return results;
}

using Numbers = std::vector<std::uint32_t>;

TEST(FaultScript, HappensOnceOnTheFirstCallUnlessToldOtherwise) {
  const std::vector<Fault> faults = {ResultFault(5, {.function = kGet})};
  FaultScript script(faults);
  EXPECT_EQ(Results(script, kGet, 3), (Numbers{5, 0, 0}));
}

TEST(FaultScript, CountsFromTheNthCallForSoManyTimes) {
  const std::vector<Fault> faults = {ResultFault(5, {.function = kGet, .nth = 3, .times = 2})};
  FaultScript script(faults);
  EXPECT_EQ(Results(script, kGet, 6), (Numbers{0, 0, 5, 5, 0, 0}));
}

TEST(FaultScript, GoesOnWithoutEndForZeroTimes) {
  const std::vector<Fault> faults = {ResultFault(5, {.nth = 2, .times = 0})};
  FaultScript script(faults);
  EXPECT_EQ(Results(script, kGet, 4), (Numbers{0, 5, 5, 5}));
}

TEST(FaultScript, CountsOnlyItsOwnFunction) {
  const std::vector<Fault> faults = {ResultFault(5, {.function = kGet, .nth = 2})};
  FaultScript script(faults);
  EXPECT_EQ(Results(script, kSet, 3), (Numbers{0, 0, 0}));
  EXPECT_EQ(Results(script, kGet, 1), (Numbers{0}));
  EXPECT_EQ(Results(script, "", 1), (Numbers{0}));
  EXPECT_EQ(Results(script, kGet, 1), (Numbers{5}));
}

TEST(FaultScript, AnyCountsEveryRequestThoseWithoutAFunctionToo) {
  const std::vector<Fault> faults = {ResultFault(5, {.nth = 3})};
  FaultScript script(faults);
  EXPECT_EQ(script.OnRequest(kSet), nullptr);
  EXPECT_EQ(script.OnRequest(""), nullptr);
  EXPECT_EQ(script.OnRequest("no such function"), &faults[0]);
}

TEST(FaultScript, TheFirstOfTheListHappensAndTheOthersCountOn) {
  const std::vector<Fault> faults = {ResultFault(5, {.function = kGet}),
                                     ResultFault(6, {.function = kGet, .times = 2}),
                                     ResultFault(7, {.times = 3})};
  FaultScript script(faults);
  EXPECT_EQ(Results(script, kGet, 4), (Numbers{5, 6, 7, 0}));
}

TEST(FaultScript, KnowsWhenTheNextRequestIsDroppedUnread) {
  const std::vector<Fault> faults = {{.match = {.nth = 2}, .action = Drop::kUnread},
                                     ResultFault(5, {.nth = 3})};
  FaultScript script(faults);
  EXPECT_FALSE(script.DropsNextUnread());
  EXPECT_EQ(script.OnRequest(kGet), nullptr);
  EXPECT_TRUE(script.DropsNextUnread());
  script.OnUnread();
  EXPECT_FALSE(script.DropsNextUnread());
  EXPECT_EQ(script.OnRequest(kGet), &faults[1]) << "an unread request counts for the others";
}

TEST(FaultScript, NothingHappensWithoutFaults) {
  const std::vector<Fault> faults;
  FaultScript script(faults);
  EXPECT_EQ(script.OnRequest(kGet), nullptr);
  EXPECT_FALSE(script.DropsNextUnread());
}

}  // namespace
}  // namespace zor::sim
