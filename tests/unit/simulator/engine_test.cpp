// A server without pipes: requests in, what is done about them out.
#include "simulator/engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/message_builder.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::size_t kReplyBytes = 1024;

/// A server with one fault, for the first call of "ZorIntfCreate".
class FaultyEngine {
 public:
  explicit FaultyEngine(FaultAction action, std::uint32_t delay_ms = 0)
      : engine_([&] {
          Scenario scenario = SmallScenario();
          scenario.faults = {{.match = {.function = "ZorIntfCreate"},
                              .delay_ms = delay_ms,
                              .action = std::move(action)}};
          return scenario;
        }()) {}

  Reaction Create() { return engine_.OnRequest(Text("ZorIntfCreate", 0, "general")); }
  /// Whether the call was made.
  [[nodiscard]] bool created() const { return engine_.model().size() != 0; }

 private:
  Engine engine_;
};

TEST(Engine, AnswersARequest) {
  Engine engine(SmallScenario());
  const Reaction reaction = engine.OnRequest(Plain("ZorIntfGetInfo"));
  EXPECT_EQ(reaction.function, "ZorIntfGetInfo");
  EXPECT_FALSE(reaction.faulted);
  EXPECT_FALSE(reaction.drop);
  EXPECT_EQ(reaction.delay_ms, 0U);
  EXPECT_THAT(reaction.effects, IsEmpty());
  const auto* message = Message(reaction.reply);
  ASSERT_NE(message, nullptr);
  ASSERT_NE(message->server_info(), nullptr);
  EXPECT_EQ(message->server_info()->info2(), 33U);
}

TEST(Engine, RaisesTheNotificationsOfACall) {
  Engine engine(SmallScenario());
  const Reaction reaction = engine.OnRequest(Text("ZorIntfCreate", 0, "general"));
  ASSERT_THAT(reaction.effects, SizeIs(2));
  EXPECT_EQ(std::get<Bytes>(reaction.effects[0]), BuildNotification({.type = 1, .value = 1}));
  EXPECT_EQ(std::get<Bytes>(reaction.effects[1]),
            BuildNotification({.type = 5, .value = 1, .text = "created"}));
}

TEST(Engine, AWholeSession) {
  Engine engine(SmallScenario());
  const std::uint32_t handle = StartInstance(engine);
  EXPECT_EQ(handle, 1U);
  EXPECT_EQ(ResultOf(engine.OnRequest(Plain("ZorIntfStop", handle))), Result::kSuccess);
  EXPECT_EQ(ResultOf(engine.OnRequest(Plain("ZorIntfDestroy", handle))), Result::kSuccess);
  EXPECT_EQ(engine.model().size(), 0U);
}

TEST(Engine, ABlockThatDoesNotFitInAReplyIsRefused) {
  Engine engine(SmallScenario());
  const std::uint32_t handle = CreateInstance(engine);
  std::size_t largest = 0;
  std::size_t largest_reply = 0;
  for (std::size_t size = 900; size <= 1100; ++size) {
    ASSERT_EQ(ResultOf(engine.OnRequest(Block("ZorIntfSetSerialized", handle, "b", Bytes(size)))),
              Result::kSuccess);
    const Reaction reaction = engine.OnRequest(Block("ZorIntfGetSerialized", handle, "b"));
    ASSERT_TRUE(reaction.reply);
    EXPECT_LE(reaction.reply->size(), kReplyBytes);
    if (ResultOf(reaction) == Result::kSuccess) {
      EXPECT_EQ(largest, size == 900 ? 0 : size - 1) << "once too large, always too large";
      largest = size;
      largest_reply = reaction.reply->size();
    } else {
      EXPECT_EQ(ResultOf(reaction), Result::kReplyTooLarge);
    }
  }
  EXPECT_EQ(largest_reply, kReplyBytes);
  EXPECT_LT(largest, kReplyBytes);
}

TEST(Engine, AListThatDoesNotFitInAReplyIsRefused) {
  Scenario scenario = SmallScenario();
  scenario.lists[3] = std::vector<std::string>(200, "a name");
  Engine engine(scenario);
  EXPECT_EQ(ResultOf(engine.OnRequest(Enum(3))), Result::kReplyTooLarge);
  scenario.limits.reply_bytes = 65536;
  Engine generous(scenario);
  EXPECT_EQ(ResultOf(generous.OnRequest(Enum(3))), Result::kSuccess);
}

TEST(Engine, AnOversizedRequestIsRefusedAndCounted) {
  Scenario scenario = SmallScenario();
  scenario.faults = {{.match = {.nth = 2}, .action = ReplyResult{99}}};
  Engine engine(scenario);
  EXPECT_EQ(ResultOf(engine.OnOversizedRequest()), Result::kTooLarge);
  EXPECT_EQ(ResultOf(engine.OnRequest(Plain("ZorIntfGetInfo"))), Result{99});
}

TEST(Engine, GarbageIsAnsweredAsMalformed) {
  Engine engine(SmallScenario());
  EXPECT_EQ(ResultOf(engine.OnRequest({})), Result::kMalformedRequest);
  EXPECT_EQ(ResultOf(engine.OnRequest(Bytes(64, 0xFF))), Result::kMalformedRequest);
}

TEST(EngineFault, ADelayLeavesTheAnswerAsItIs) {
  FaultyEngine engine(std::monostate{}, 250);
  const Reaction reaction = engine.Create();
  EXPECT_TRUE(reaction.faulted);
  EXPECT_EQ(reaction.delay_ms, 250U);
  EXPECT_EQ(ResultOf(reaction), Result::kSuccess);
  EXPECT_TRUE(engine.created());
  EXPECT_EQ(engine.Create().delay_ms, 0U);
}

TEST(EngineFault, AResultReplacesTheCall) {
  FaultyEngine engine(ReplyResult{77});
  const Reaction reaction = engine.Create();
  EXPECT_EQ(ResultOf(reaction), Result{77});
  EXPECT_EQ(Message(reaction.reply)->handle(), 0U);
  EXPECT_FALSE(engine.created());
  EXPECT_THAT(reaction.effects, IsEmpty());
  EXPECT_EQ(ResultOf(engine.Create()), Result::kSuccess);
}

TEST(EngineFault, AReplyCanHaveAnySize) {
  for (const std::uint32_t size : {37U, 1023U, 1024U, 1025U, 65536U}) {
    FaultyEngine engine(ReplySize{size});
    const Reaction reaction = engine.Create();
    ASSERT_TRUE(reaction.reply);
    EXPECT_THAT(*reaction.reply, SizeIs(size));
    EXPECT_EQ(Message(reaction.reply)->handle(), 1U) << "it stays valid";
    EXPECT_TRUE(engine.created());
  }
  FaultyEngine engine(ReplySize{1});
  const Reaction reaction = engine.Create();
  EXPECT_EQ(Message(reaction.reply)->handle(), 1U) << "one that is longer is left whole";
}

TEST(EngineFault, AReplyCanBeCut) {
  const Bytes whole = *FaultyEngine(std::monostate{}).Create().reply;
  FaultyEngine engine(ReplyTruncated{10});
  EXPECT_EQ(engine.Create().reply, Bytes(whole.begin(), whole.begin() + 10));
  EXPECT_TRUE(engine.created());
  EXPECT_EQ(FaultyEngine(ReplyTruncated{0}).Create().reply, Bytes());
  EXPECT_EQ(FaultyEngine(ReplyTruncated{5000}).Create().reply, whole);
}

TEST(EngineFault, GarbageIsTheSameForTheSameSeed) {
  const auto garbage = [](std::uint32_t seed) {
    return *FaultyEngine(ReplyGarbage{100, seed}).Create().reply;
  };
  EXPECT_THAT(garbage(1), SizeIs(100));
  EXPECT_EQ(garbage(1), garbage(1));
  EXPECT_NE(garbage(1), garbage(2));
}

TEST(EngineFault, AReplyCanBeAnyBytes) {
  EXPECT_EQ(FaultyEngine(ReplyRaw{{4, 0, 0, 0}}).Create().reply, (Bytes{4, 0, 0, 0}));
  FaultyEngine engine(ReplyRaw{});
  EXPECT_EQ(engine.Create().reply, Bytes()) << "a message of no bytes, not no message";
  EXPECT_TRUE(engine.created());
}

TEST(EngineFault, SuccessCanComeWithoutOutputs) {
  FaultyEngine engine(ReplyWithoutOutputs{});
  const Reaction reaction = engine.Create();
  EXPECT_EQ(ResultOf(reaction), Result::kSuccess);
  EXPECT_EQ(Message(reaction.reply)->handle(), 0U);
  EXPECT_TRUE(engine.created());
}

TEST(EngineFault, NoReplyKeepsTheConnection) {
  FaultyEngine engine(NoReply{});
  const Reaction reaction = engine.Create();
  EXPECT_FALSE(reaction.reply);
  EXPECT_FALSE(reaction.drop);
  EXPECT_TRUE(engine.created());
}

TEST(EngineFault, ADropComesBeforeTheCallAfterItOrAfterTheReply) {
  FaultyEngine before(Drop::kBeforeCall);
  const Reaction before_call = before.Create();
  EXPECT_TRUE(before_call.drop);
  EXPECT_FALSE(before_call.reply);
  EXPECT_FALSE(before.created());

  FaultyEngine after(Drop::kAfterCall);
  const Reaction after_call = after.Create();
  EXPECT_TRUE(after_call.drop);
  EXPECT_FALSE(after_call.reply);
  EXPECT_TRUE(after.created());
  EXPECT_THAT(after_call.effects, SizeIs(2)) << "its notifications are raised";

  FaultyEngine late(Drop::kAfterReply);
  const Reaction after_reply = late.Create();
  EXPECT_TRUE(after_reply.drop);
  EXPECT_EQ(ResultOf(after_reply), Result::kSuccess);
}

TEST(EngineFault, ClosedPipesReplaceTheCall) {
  FaultyEngine engine(ClosePipes{300});
  const Reaction reaction = engine.Create();
  EXPECT_FALSE(reaction.reply);
  EXPECT_FALSE(engine.created());
  ASSERT_THAT(reaction.effects, SizeIs(1));
  EXPECT_EQ(std::get<ClosePipes>(reaction.effects[0]).milliseconds, 300U);
}

TEST(EngineFault, AnUnreadRequestIsForetold) {
  Scenario scenario = SmallScenario();
  scenario.faults = {{.match = {.nth = 2}, .action = Drop::kUnread}};
  Engine engine(scenario);
  EXPECT_FALSE(engine.DropsNextUnread());
  EXPECT_EQ(CreateInstance(engine), 1U);
  EXPECT_TRUE(engine.DropsNextUnread());
  engine.OnUnreadRequest();
  EXPECT_FALSE(engine.DropsNextUnread());
  EXPECT_EQ(CreateInstance(engine), 2U);
}

TEST(EngineEvent, ACallSetsItOffAfterItsOwnNotifications) {
  Scenario scenario = SmallScenario();
  scenario.events = {
      {.trigger = CallMatch{.function = "ZorIntfCreate", .times = 0}, .action = Bytes{1, 2, 3}}};
  Engine engine(scenario);
  const Reaction reaction = engine.OnRequest(Text("ZorIntfCreate", 0, "general"));
  ASSERT_THAT(reaction.effects, SizeIs(3));
  EXPECT_EQ(std::get<Bytes>(reaction.effects[2]), (Bytes{1, 2, 3}));
  EXPECT_THAT(engine.OnRequest(Plain("ZorIntfGetInfo")).effects, IsEmpty());
  EXPECT_THAT(engine.OnRequest(Text("ZorIntfCreate", 0, "unheard")).effects, SizeIs(1))
      << "also one that is refused";
}

TEST(EngineEvent, TimedOnesAndGreetingsComeFromTheScenario) {
  Scenario scenario = SmallScenario();
  scenario.events = {{.trigger = AtTime{5}, .action = Bytes{1}},
                     {.trigger = OnConnect{}, .action = Bytes{2}}};
  Engine engine(scenario);
  EXPECT_EQ(engine.NextDue(), std::chrono::milliseconds(5));
  EXPECT_THAT(engine.TakeDue(std::chrono::milliseconds(5)), SizeIs(1));
  EXPECT_EQ(engine.NextDue(), std::nullopt);
  EXPECT_THAT(engine.OnNotifyClient(), ElementsAre(Bytes{2}));
}

}  // namespace
}  // namespace zor::sim
