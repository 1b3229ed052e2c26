// When events happen and what they send.
#include "simulator/event_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/message_builder.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using std::chrono::milliseconds;
using ::testing::IsEmpty;
using ::testing::SizeIs;

Bytes Raw(std::uint8_t byte) { return {byte}; }

/// The first bytes of the messages that are due.
std::vector<int> Due(EventScript& script, int now) {
  std::vector<int> bytes;
  for (const Effect& effect : script.TakeDue(milliseconds(now))) {
    bytes.push_back(std::get<Bytes>(effect).at(0));
  }
  return bytes;
}

using Events = std::vector<int>;

TEST(EventScript, HappensOnceAtItsTime) {
  const std::vector<ScriptedEvent> events = {{.trigger = AtTime{100}, .action = Raw(1)}};
  EventScript script(events);
  EXPECT_EQ(script.NextDue(), milliseconds(100));
  EXPECT_EQ(Due(script, 99), Events{});
  EXPECT_EQ(Due(script, 100), Events{1});
  EXPECT_EQ(script.NextDue(), std::nullopt);
  EXPECT_EQ(Due(script, 1000), Events{});
}

TEST(EventScript, RepeatsAsOftenAsItIsTold) {
  const std::vector<ScriptedEvent> events = {{.trigger = EveryInterval{10, 3}, .action = Raw(1)}};
  EventScript script(events);
  EXPECT_EQ(Due(script, 9), Events{});
  EXPECT_EQ(Due(script, 10), Events{1});
  EXPECT_EQ(script.NextDue(), milliseconds(20));
  EXPECT_EQ(Due(script, 1000), (Events{1, 1}));
  EXPECT_EQ(script.NextDue(), std::nullopt);
}

TEST(EventScript, RepeatsWithoutEndForZero) {
  const std::vector<ScriptedEvent> events = {{.trigger = EveryInterval{10, 0}, .action = Raw(1)}};
  EventScript script(events);
  EXPECT_THAT(Due(script, 100), SizeIs(10));
  EXPECT_EQ(script.NextDue(), milliseconds(110));
}

TEST(EventScript, ComesInTheOrderOfTheTimes) {
  const std::vector<ScriptedEvent> events = {{.trigger = AtTime{25}, .action = Raw(1)},
                                             {.trigger = EveryInterval{10, 0}, .action = Raw(2)},
                                             {.trigger = AtTime{15}, .action = Raw(3)}};
  EventScript script(events);
  EXPECT_EQ(Due(script, 30), (Events{2, 3, 2, 1, 2}));
}

TEST(EventScript, HappensOnTheCallsItMatches) {
  const std::vector<ScriptedEvent> events = {
      {.trigger = CallMatch{.function = "ZorIntfSet", .nth = 2, .times = 2}, .action = Raw(1)}};
  EventScript script(events);
  EXPECT_THAT(script.OnRequest("ZorIntfSet"), IsEmpty());
  EXPECT_THAT(script.OnRequest("ZorIntfGet"), IsEmpty());
  EXPECT_THAT(script.OnRequest("ZorIntfSet"), SizeIs(1));
  EXPECT_THAT(script.OnRequest("ZorIntfSet"), SizeIs(1));
  EXPECT_THAT(script.OnRequest("ZorIntfSet"), IsEmpty());
  EXPECT_EQ(script.NextDue(), std::nullopt);
}

TEST(EventScript, GreetsEachClient) {
  const std::vector<ScriptedEvent> events = {{.trigger = OnConnect{}, .action = Raw(1)},
                                             {.trigger = OnConnect{}, .action = Raw(2)}};
  const EventScript script(events);
  EXPECT_EQ(script.OnConnect(), (std::vector<Bytes>{{1}, {2}}));
  EXPECT_EQ(script.OnConnect(), (std::vector<Bytes>{{1}, {2}}));
}

TEST(EventScript, BuildsTheNotificationAsScripted) {
  const std::vector<ScriptedEvent> events = {
      {.trigger = OnConnect{},
       .action = ScriptedNotification{.notification = {.type = 4, .flag = true, .text = "hi"},
                                      .func_name = "Else",
                                      .message_bytes = 1025}}};
  const Bytes bytes = EventScript(events).OnConnect().at(0);
  EXPECT_THAT(bytes, SizeIs(1025));
  const auto* message = Message(bytes);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->func_name()->str(), "Else");
  EXPECT_EQ(message->event()->payload_as_ByteTextPayload()->text()->str(), "hi");
}

TEST(EventScript, DoesNotShortenALongerMessage) {
  const ScriptedNotification scripted{.notification = {.type = 1, .value = 1}, .message_bytes = 1};
  const std::vector<ScriptedEvent> events = {{.trigger = OnConnect{}, .action = scripted}};
  EXPECT_EQ(EventScript(events).OnConnect().at(0), BuildNotification(scripted.notification));
}

TEST(EventScript, PassesOnWhatIsToBeDoneToThePipes) {
  const std::vector<ScriptedEvent> events = {
      {.trigger = CallMatch{.nth = 1}, .action = DropClients{}},
      {.trigger = CallMatch{.nth = 2}, .action = ClosePipes{70}}};
  EventScript script(events);
  const auto first = script.OnRequest("");
  ASSERT_THAT(first, SizeIs(1));
  EXPECT_TRUE(std::holds_alternative<DropClients>(first[0]));
  const auto second = script.OnRequest("");
  ASSERT_THAT(second, SizeIs(1));
  EXPECT_EQ(std::get<ClosePipes>(second[0]).milliseconds, 70U);
}

}  // namespace
}  // namespace zor::sim
