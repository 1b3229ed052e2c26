// Information, creation, configuration and status.
#include <gmock/gmock.h>

#include "messages/reply.h"
#include "tests/support/library_test.h"
#include "tests/support/messages.h"

namespace zor::scripted {
namespace {

using ::testing::StrEq;

class InstanceCalls : public CallTest {
 protected:
  /// The last request that was sent.
  const messages::CallMessage& Request() {
    for (Bytes& written : ThePipes().TakeWritten(kRequestPipe)) request_ = std::move(written);
    return *messages::CheckReply(request_);
  }

 private:
  Bytes request_;
};

TEST_F(InstanceCalls, GetInfoStoresTheFourWordsInOrder) {
  AnswerWith(Build(Reply{.server_info = messages::ServerInfo(1, 0, 0xFFFFFFFF, 4)}));
  ZorServerInfo info{9, 9, 9, 9};
  EXPECT_EQ(ZorIntfGetInfo(&info), ZOR_SUCCESS);
  EXPECT_EQ(info.info0, 1U);
  EXPECT_EQ(info.info1, 0U);
  EXPECT_EQ(info.info2, 0xFFFFFFFFU);
  EXPECT_EQ(info.info3, 4U);
}

TEST_F(InstanceCalls, GetInfoStoresZerosWhenTheReplyHasNoWords) {
  AnswerWith(Build(Reply{}));
  ZorServerInfo info{9, 9, 9, 9};
  EXPECT_EQ(ZorIntfGetInfo(&info), ZOR_SUCCESS);
  EXPECT_EQ(info.info0, 0U);
  EXPECT_EQ(info.info1, 0U);
  EXPECT_EQ(info.info2, 0U);
  EXPECT_EQ(info.info3, 0U);
}

TEST_F(InstanceCalls, CreateSendsBothTextsAndNoHandle) {
  AnswerWith(Build(Reply{}));
  std::uint32_t handle = 9;
  const ZorTextParam param{"reverb", ""};
  EXPECT_EQ(ZorIntfCreate(&handle, &param), ZOR_SUCCESS);
  const auto& request = Request();
  EXPECT_THAT(request.text_param()->name()->c_str(), StrEq("reverb"));
  EXPECT_THAT(request.text_param()->value()->c_str(), StrEq(""));
  EXPECT_EQ(request.handle(), 0U);
}

TEST_F(InstanceCalls, CreateWithANullTextLeavesItOut) {
  AnswerWith(Build(Reply{}));
  std::uint32_t handle = 9;
  const ZorTextParam only_name{"reverb", nullptr};
  EXPECT_EQ(ZorIntfCreate(&handle, &only_name), ZOR_SUCCESS);
  EXPECT_THAT(Request().text_param()->name()->c_str(), StrEq("reverb"));
  EXPECT_EQ(Request().text_param()->value(), nullptr);

  const ZorTextParam only_value{nullptr, "hall"};
  EXPECT_EQ(ZorIntfCreate(&handle, &only_value), ZOR_SUCCESS);
  EXPECT_EQ(Request().text_param()->name(), nullptr);
  EXPECT_THAT(Request().text_param()->value()->c_str(), StrEq("hall"));

  const ZorTextParam neither{nullptr, nullptr};
  EXPECT_EQ(ZorIntfCreate(&handle, &neither), ZOR_SUCCESS);
  ASSERT_NE(Request().text_param(), nullptr);
  EXPECT_EQ(Request().text_param()->name(), nullptr);
}

TEST_F(InstanceCalls, CreateStoresTheHandleOfTheReply) {
  AnswerWith(Build(Reply{.handle = 0xFFFFFFFF}));
  std::uint32_t handle = 9;
  const ZorTextParam param{"reverb", "hall"};
  EXPECT_EQ(ZorIntfCreate(&handle, &param), ZOR_SUCCESS);
  EXPECT_EQ(handle, 0xFFFFFFFFU);
}

TEST_F(InstanceCalls, CreateStores0WhenTheReplyHasNoHandle) {
  AnswerWith(Build(Reply{}));
  std::uint32_t handle = 9;
  const ZorTextParam param{"reverb", "hall"};
  EXPECT_EQ(ZorIntfCreate(&handle, &param), ZOR_SUCCESS);
  EXPECT_EQ(handle, 0U);
}

TEST_F(InstanceCalls, CreateThatTheServerRefusesReturnsItsResultAndLeavesTheHandle) {
  AnswerWith(Build(Reply{.handle = 77, .result = 4}));
  std::uint32_t handle = 9;
  const ZorTextParam param{"reverb", "hall"};
  EXPECT_EQ(ZorIntfCreate(&handle, &param), 4U);
  EXPECT_EQ(handle, 9U);
}

TEST_F(InstanceCalls, ConfigSendsTheHandleAndLeavesA0Out) {
  AnswerWith(Build(Reply{}));
  const ZorTextParam param{"room", "large"};
  EXPECT_EQ(ZorIntfConfig(0x80000001, &param), ZOR_SUCCESS);
  EXPECT_EQ(Request().handle(), 0x80000001U);
  EXPECT_THAT(Request().text_param()->value()->c_str(), StrEq("large"));

  EXPECT_EQ(ZorIntfConfig(0, &param), ZOR_SUCCESS);
  const auto& request = Request();
  const auto& table = reinterpret_cast<const flatbuffers::Table&>(request);
  EXPECT_FALSE(table.CheckField(messages::CallMessage::VT_HANDLE));
}

TEST_F(InstanceCalls, GetStatusWidensTheByte) {
  AnswerWith(Build(Reply{.status = 0xFF}));
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(ZorIntfGetStatus(6, &status), ZOR_SUCCESS);
  EXPECT_EQ(status, 255U);
  EXPECT_EQ(Request().handle(), 6U);
}

TEST_F(InstanceCalls, GetStatusStores0WhenTheReplyHasNone) {
  AnswerWith(Build(Reply{}));
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(ZorIntfGetStatus(6, &status), ZOR_SUCCESS);
  EXPECT_EQ(status, 0U);
}

}  // namespace
}  // namespace zor::scripted
