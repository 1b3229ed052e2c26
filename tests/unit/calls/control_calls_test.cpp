// Life cycle commands and float parameters.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "messages/reply.h"
#include "tests/support/library_test.h"
#include "tests/support/messages.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::StrEq;

class ControlCalls : public CallTest {
 protected:
  const messages::CallMessage& Request() {
    for (Bytes& written : ThePipes().TakeWritten(kRequestPipe)) request_ = std::move(written);
    return *messages::CheckReply(request_);
  }

  static bool Has(const void* table, flatbuffers::voffset_t field) {
    return static_cast<const flatbuffers::Table*>(table)->CheckField(field);
  }

 private:
  Bytes request_;
};

TEST_F(ControlCalls, CommandsSendTheHandleAndNothingElse) {
  AnswerWith(Build(Reply{}));
  for (const auto command : {ZorIntfStart, ZorIntfStop, ZorIntfDestroy}) {
    EXPECT_EQ(command(0xFFFFFFFF), ZOR_SUCCESS);
    const auto& request = Request();
    EXPECT_EQ(request.handle(), 0xFFFFFFFFU);
    EXPECT_EQ(request.float_param(), nullptr);
    EXPECT_EQ(request.text_param(), nullptr);
    EXPECT_EQ(request.blob_param(), nullptr);
  }
}

TEST_F(ControlCalls, StartWithHandle0SendsNoHandle) {
  AnswerWith(Build(Reply{}));
  EXPECT_EQ(ZorIntfStart(0), ZOR_SUCCESS);
  EXPECT_FALSE(Has(&Request(), messages::CallMessage::VT_HANDLE));
}

TEST_F(ControlCalls, StopThatTheServerAnswersWith5Returns5AndLogsIt) {
  AnswerWith(Build(Reply{.result = 5}));
  EXPECT_EQ(ZorIntfStop(1), 5U);
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] ConnectToServer() was successful.\n",
                                                    "[zor] [ZorIntfStop] The ZorRet: 5\n"));
}

TEST_F(ControlCalls, SetAndGetSendNameValueAndHandle) {
  AnswerWith(Build(Reply{}));
  for (const auto call : {ZorIntfSet, ZorIntfGet}) {
    ZorFloatParam param{"gain", 1.5F};
    EXPECT_EQ(call(8, &param), ZOR_SUCCESS);
    const auto& request = Request();
    EXPECT_THAT(request.float_param()->name()->c_str(), StrEq("gain"));
    EXPECT_EQ(request.float_param()->value(), 1.5F);
    EXPECT_EQ(request.handle(), 8U);
  }
}

TEST_F(ControlCalls, SetOfMinusZeroSendsNoValue) {
  AnswerWith(Build(Reply{}));
  ZorFloatParam param{"gain", -0.0F};
  EXPECT_EQ(ZorIntfSet(8, &param), ZOR_SUCCESS);
  EXPECT_FALSE(Has(Request().float_param(), messages::FloatParam::VT_VALUE));
  EXPECT_TRUE(std::signbit(param.value)) << "without a value in the reply the record stays";
}

TEST_F(ControlCalls, SetOfNaNSendsIt) {
  AnswerWith(Build(Reply{}));
  ZorFloatParam param{"gain", std::numeric_limits<float>::quiet_NaN()};
  EXPECT_EQ(ZorIntfSet(8, &param), ZOR_SUCCESS);
  EXPECT_TRUE(std::isnan(Request().float_param()->value()));
}

TEST_F(ControlCalls, SetTakesTheValueThatTheReplyEchoesJustAsGetDoes) {
  AnswerWith(Build(Reply{.float_param = 2.5F}));
  for (const auto call : {ZorIntfSet, ZorIntfGet}) {
    ZorFloatParam param{"gain", 1.0F};
    EXPECT_EQ(call(8, &param), ZOR_SUCCESS);
    EXPECT_EQ(param.value, 2.5F);
    EXPECT_THAT(param.name, StrEq("gain"));
  }
}

TEST_F(ControlCalls, AParameterWithoutAValueInTheReplyIs0) {
  AnswerWith(Build(Reply{.float_param = 0.0F}));
  for (const auto call : {ZorIntfSet, ZorIntfGet}) {
    ZorFloatParam param{"gain", 1.0F};
    EXPECT_EQ(call(8, &param), ZOR_SUCCESS);
    EXPECT_EQ(param.value, 0.0F);
  }
}

TEST_F(ControlCalls, AReplyWithoutAParameterLeavesTheValue) {
  AnswerWith(Build(Reply{}));
  for (const auto call : {ZorIntfSet, ZorIntfGet}) {
    ZorFloatParam param{"gain", 1.25F};
    EXPECT_EQ(call(8, &param), ZOR_SUCCESS);
    EXPECT_EQ(param.value, 1.25F);
  }
}

TEST_F(ControlCalls, ALongNameIsSentWhole) {
  AnswerWith(Build(Reply{}));
  const std::string name(5000, 'n');
  ZorFloatParam param{name.c_str(), 1.0F};
  EXPECT_EQ(ZorIntfSet(8, &param), ZOR_SUCCESS);
  EXPECT_EQ(Request().float_param()->name()->string_view(), name);
}

}  // namespace
}  // namespace zor::scripted
