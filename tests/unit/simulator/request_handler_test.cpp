// Every call, every misuse, and bytes that are no request.
#include "simulator/request_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/support/exact_block.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RequestHandlerTest : public ::testing::Test {
 protected:
  Reply Answer(std::span<const std::uint8_t> bytes) {
    return AnswerRequest(scenario_, model_, ReadRequest(bytes));
  }
  Result ResultOf(std::span<const std::uint8_t> bytes) { return Result{Answer(bytes).result}; }

  std::uint32_t Create() { return Answer(Text("ZorIntfCreate", 0, "general", "mine")).handle; }

  Scenario scenario_ = SmallScenario();
  InstanceModel model_{scenario_};
};

TEST_F(RequestHandlerTest, KnowsTheTwelveRemoteCalls) {
  EXPECT_THAT(FunctionNames(), ElementsAre("ZorIntfConfig", "ZorIntfCreate", "ZorIntfDestroy",
                                           "ZorIntfEnum", "ZorIntfGet", "ZorIntfGetInfo",
                                           "ZorIntfGetSerialized", "ZorIntfGetStatus", "ZorIntfSet",
                                           "ZorIntfSetSerialized", "ZorIntfStart", "ZorIntfStop"));
}

TEST_F(RequestHandlerTest, GetInfoAnswersTheWords) {
  const Reply reply = Answer(Plain("ZorIntfGetInfo"));
  EXPECT_EQ(reply.result, 0U);
  ASSERT_TRUE(reply.information);
  EXPECT_THAT(*reply.information, ElementsAre(11, 22, 33, 44));
}

TEST_F(RequestHandlerTest, EnumAnswersTheSelectorsList) {
  EXPECT_THAT(Answer(Enum(0)).names.value(), ElementsAre("speaker", "headset"));
  EXPECT_THAT(Answer(Enum(2)).names.value(), ElementsAre("general", "private", "whisper"));
  EXPECT_THAT(Answer(Enum(255)).names.value(), IsEmpty());
  EXPECT_EQ(ResultOf(Enum(7)), Result::kNoSuchList);
}

TEST_F(RequestHandlerTest, CreateAnswersAHandle) {
  EXPECT_EQ(Create(), 1U);
  EXPECT_EQ(Create(), 2U);
  EXPECT_EQ(ResultOf(Text("ZorIntfCreate", 0, "unheard")), Result::kUnknownAlgorithm);
  EXPECT_EQ(ResultOf(Text("ZorIntfCreate", 0, nullptr, "mine")), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Plain("ZorIntfCreate")), Result::kMissingArgument);
}

TEST_F(RequestHandlerTest, AnInstanceGoesThroughItsLife) {
  const std::uint32_t handle = Create();
  const auto status = [&] { return Answer(Plain("ZorIntfGetStatus", handle)).status; };
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(ResultOf(Plain("ZorIntfStart", handle)), Result::kWrongState);
  EXPECT_EQ(ResultOf(Text("ZorIntfConfig", handle, nullptr)), Result::kSuccess);
  EXPECT_EQ(status(), 2);
  EXPECT_EQ(ResultOf(Plain("ZorIntfStart", handle)), Result::kSuccess);
  EXPECT_EQ(status(), 3);
  EXPECT_EQ(ResultOf(Plain("ZorIntfDestroy", handle)), Result::kWrongState);
  EXPECT_EQ(ResultOf(Plain("ZorIntfStop", handle)), Result::kSuccess);
  EXPECT_EQ(status(), 4);
  EXPECT_EQ(ResultOf(Plain("ZorIntfDestroy", handle)), Result::kSuccess);
  EXPECT_EQ(ResultOf(Plain("ZorIntfGetStatus", handle)), Result::kNoSuchInstance);
}

TEST_F(RequestHandlerTest, ConfigWantsItsTable) {
  const std::uint32_t handle = Create();
  EXPECT_EQ(ResultOf(Plain("ZorIntfConfig", handle)), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Text("ZorIntfConfig", 0, "rate")), Result::kNoSuchInstance);
}

TEST_F(RequestHandlerTest, SetEchoesTheParameterUnlessToldNotTo) {
  const std::uint32_t handle = Create();
  const Reply reply = Answer(Float("ZorIntfSet", handle, "gain", 2.5F));
  EXPECT_EQ(reply.result, 0U);
  ASSERT_TRUE(reply.parameter);
  EXPECT_EQ(reply.parameter->name, "gain");
  EXPECT_EQ(reply.parameter->value, 2.5F);

  scenario_.echo_set = false;
  const Reply silent = Answer(Float("ZorIntfSet", handle, "gain", 3));
  EXPECT_EQ(silent.result, 0U);
  EXPECT_FALSE(silent.parameter);
  EXPECT_EQ(Answer(Float("ZorIntfGet", handle, "gain")).parameter.value().value, 3.0F);
}

TEST_F(RequestHandlerTest, SetAndGetRefuseWithoutOutputs) {
  const std::uint32_t handle = Create();
  EXPECT_EQ(ResultOf(Plain("ZorIntfSet", handle)), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Plain("ZorIntfGet", handle)), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Float("ZorIntfSet", handle, nullptr, 1)), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Float("ZorIntfGet", handle, nullptr)), Result::kMissingArgument);
  EXPECT_EQ(ResultOf(Float("ZorIntfSet", handle, "unheard", 1)), Result::kNoSuchParameter);
  EXPECT_EQ(ResultOf(Float("ZorIntfGet", handle, "unheard")), Result::kNoSuchParameter);
  EXPECT_EQ(ResultOf(Float("ZorIntfSet", handle, "latency", 1)), Result::kReadOnly);
  EXPECT_EQ(ResultOf(Float("ZorIntfSet", handle, "supproted_algo_name", 3)),
            Result::kUnknownAlgorithm);
  const Reply reply = Answer(Float("ZorIntfSet", handle, "gain", 5));
  EXPECT_EQ(Result{reply.result}, Result::kValueOutOfRange);
  EXPECT_FALSE(reply.parameter);
}

TEST_F(RequestHandlerTest, BlocksGoInAndOut) {
  const std::uint32_t handle = Create();
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, "tuning", Bytes{5, 6, 7})),
            Result::kSuccess);
  const Reply reply = Answer(Block("ZorIntfGetSerialized", handle, "tuning"));
  EXPECT_EQ(reply.result, 0U);
  ASSERT_TRUE(reply.blob);
  EXPECT_EQ(reply.blob->name, "tuning");
  EXPECT_EQ(reply.blob->data, (Bytes{5, 6, 7}));
  // The bytes of the asking record are sent along and mean nothing.
  EXPECT_EQ(Answer(Block("ZorIntfGetSerialized", handle, "tuning", Bytes{1})).blob.value().data,
            (Bytes{5, 6, 7}));
}

TEST_F(RequestHandlerTest, AnEmptyBlockMayComeWithOrWithoutAVector) {
  const std::uint32_t handle = Create();
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, "preset", Bytes{})), Result::kSuccess);
  EXPECT_THAT(Answer(Block("ZorIntfGetSerialized", handle, "preset")).blob.value().data, IsEmpty());
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, "preset")), Result::kSuccess);
}

TEST_F(RequestHandlerTest, ABlockWithoutANameHasTheEmptyName) {
  const std::uint32_t handle = Create();
  EXPECT_EQ(ResultOf(Block("ZorIntfGetSerialized", handle, nullptr)), Result::kNoSuchBlob);
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, nullptr, Bytes{4})), Result::kSuccess);
  EXPECT_EQ(Answer(Block("ZorIntfGetSerialized", handle, "")).blob.value().data, Bytes{4});
}

TEST_F(RequestHandlerTest, BlocksThatContradictThemselvesAreMalformed) {
  const std::uint32_t handle = Create();
  for (const char* function : {"ZorIntfSetSerialized", "ZorIntfGetSerialized"}) {
    EXPECT_EQ(ResultOf(Plain(function, handle)), Result::kMissingArgument);
    EXPECT_EQ(ResultOf(Block(function, handle, "preset", Bytes{1}, 2)), Result::kMalformedRequest);
    EXPECT_EQ(ResultOf(Block(function, handle, "preset", Bytes{1}, 0)), Result::kMalformedRequest);
    EXPECT_EQ(ResultOf(Block(function, handle, "preset", std::nullopt, 1)),
              Result::kMalformedRequest);
  }
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, "preset", Bytes(2001))),
            Result::kTooLarge);
}

TEST_F(RequestHandlerTest, UnknownFunctionsAreRefused) {
  for (const char* function : {"ZorIntfFoo", "zorintfgetinfo", "ZorIntfGetInfo ", "",
                               "ZorIntfRegEventCallback", "ZorIntfFreeSerialized"}) {
    EXPECT_EQ(ResultOf(Plain(function)), Result::kUnknownFunction) << function;
  }
  EXPECT_EQ(ResultOf(Plain(nullptr)), Result::kUnknownFunction);
}

TEST_F(RequestHandlerTest, EveryRequestCarriesTheStatusSeven) {
  messages::Builder builder;
  builder.Finish(messages::CreateCallMessageDirect(builder, "ZorIntfGetInfo"));
  EXPECT_EQ(ResultOf({builder.GetBufferPointer(), builder.GetSize()}), Result::kMalformedRequest);
}

TEST_F(RequestHandlerTest, ARefusedCallChangesNothing) {
  const std::uint32_t handle = Create();
  static_cast<void>(model_.TakeRaised());
  EXPECT_EQ(ResultOf(Float("ZorIntfSet", handle, "gain", 99)), Result::kValueOutOfRange);
  EXPECT_EQ(ResultOf(Block("ZorIntfSetSerialized", handle, "preset", Bytes{1}, 2)),
            Result::kMalformedRequest);
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
  EXPECT_EQ(Answer(Float("ZorIntfGet", handle, "gain")).parameter.value().value, 1.0F);
}

TEST_F(RequestHandlerTest, ARequestThatWasNotKeptIsTooLarge) {
  const Reply reply = AnswerRequest(scenario_, model_, {.too_large = true});
  EXPECT_EQ(Result{reply.result}, Result::kTooLarge);
}

/// Requests in which everything is used.
std::vector<Bytes> RichRequests(std::uint32_t handle) {
  return {Plain("ZorIntfGetInfo"),
          Enum(2),
          Text("ZorIntfCreate", handle, "general", "mine"),
          Text("ZorIntfConfig", handle, "rate", "48000"),
          Plain("ZorIntfStart", handle),
          Plain("ZorIntfGetStatus", handle),
          Float("ZorIntfSet", handle, "gain", 2.5F),
          Float("ZorIntfGet", handle, "gain"),
          Block("ZorIntfSetSerialized", handle, "preset", Bytes{1, 2, 3}),
          Block("ZorIntfGetSerialized", handle, "preset", Bytes{1})};
}

// The other tests say what is answered; here the sanitizers watch that nothing else is touched.
TEST_F(RequestHandlerTest, ShortenedRequestsAreMalformed) {
  const std::uint32_t handle = Create();
  for (const Bytes& request : RichRequests(handle)) {
    // Padding at the end may go.
    for (std::size_t size = 0; size + 8 < request.size(); ++size) {
      const scripted::ExactBlock block{std::span(request).first(size)};
      EXPECT_EQ(ResultOf(block.bytes()), Result::kMalformedRequest) << size;
    }
  }
}

TEST_F(RequestHandlerTest, AlteredRequestsDoNoHarm) {
  scenario_.limits.instances = 100;
  const std::uint32_t handle = Create();
  std::size_t answered = 0;
  for (const Bytes& request : RichRequests(handle)) {
    scripted::ForEachMutation(request, [&](std::span<const std::uint8_t> bytes) {
      const Reply reply = Answer(bytes);
      EXPECT_TRUE(reply.result == 0 || (reply.result >= 16 && reply.result <= 30));
      if (reply.result != 17) ++answered;
    });
  }
  EXPECT_GT(answered, 0U);
  EXPECT_LE(model_.size(), 100U);
}

TEST_F(RequestHandlerTest, RandomBytesDoNoHarm) {
  std::mt19937 random(20240731);
  for (int i = 0; i < 20000; ++i) {
    Bytes bytes(random() % 200);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() % 256);
    // A root inside the bytes makes it past the first check.
    if (bytes.size() >= 4 && i % 2 == 0) {
      bytes[0] = static_cast<std::uint8_t>(random() % bytes.size());
      bytes[1] = bytes[2] = bytes[3] = 0;
    }
    const scripted::ExactBlock block(bytes);
    EXPECT_NE(ResultOf(block.bytes()), Result::kSuccess);
  }
}

}  // namespace
}  // namespace zor::sim
