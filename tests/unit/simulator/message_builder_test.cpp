// What the server sends, as the client library reads it.
#include "simulator/message_builder.h"

#include <gtest/gtest.h>

#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

TEST(BuildReply, CarriesEveryField) {
  const Bytes bytes = BuildReply({.result = 5,
                                  .information = {{1, 2, 3, 4}},
                                  .names = {{"a", "bc"}},
                                  .parameter = ParameterValue{"gain", 2.5F},
                                  .status = 3,
                                  .handle = 9,
                                  .blob = Blob{"preset", {7, 8}}});
  const auto* message = Message(bytes);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->result(), 5U);
  ASSERT_NE(message->server_info(), nullptr);
  EXPECT_EQ(message->server_info()->info0(), 1U);
  EXPECT_EQ(message->server_info()->info3(), 4U);
  ASSERT_NE(message->enum_result(), nullptr);
  EXPECT_EQ(message->enum_result()->count(), 2U);
  ASSERT_NE(message->enum_result()->names(), nullptr);
  ASSERT_EQ(message->enum_result()->names()->size(), 2U);
  EXPECT_EQ(message->enum_result()->names()->Get(1)->str(), "bc");
  ASSERT_NE(message->float_param(), nullptr);
  EXPECT_EQ(message->float_param()->name()->str(), "gain");
  EXPECT_EQ(message->float_param()->value(), 2.5F);
  EXPECT_EQ(message->status(), 3);
  EXPECT_EQ(message->handle(), 9U);
  ASSERT_NE(message->blob_result(), nullptr);
  EXPECT_EQ(message->blob_result()->size(), 2U);
  ASSERT_NE(message->blob_result()->data(), nullptr);
  EXPECT_EQ(message->blob_result()->data()->size(), 2U);
  EXPECT_EQ(message->blob_result()->data()->Get(1), 8);
}

TEST(BuildReply, LeavesOutWhatIsEmpty) {
  const Bytes bytes = BuildReply({});
  const auto* message = Message(bytes);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->result(), 0U);
  EXPECT_EQ(message->server_info(), nullptr);
  EXPECT_EQ(message->enum_result(), nullptr);
  EXPECT_EQ(message->float_param(), nullptr);
  EXPECT_EQ(message->blob_result(), nullptr);
}

TEST(BuildNotification, CarriesTheMemberOfItsType) {
  for (int type = 0; type <= 5; ++type) {
    const Notification notification{
        .type = static_cast<std::uint8_t>(type), .flag = true, .value = 77, .text = "hello"};
    const Bytes bytes = BuildNotification(notification);
    const auto* message = Message(bytes);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->func_name()->str(), "ZorIntfNotify");
    const auto* event = message->event();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->event_type(), type);
    EXPECT_EQ(event->payload_type(), type + 1);
    ASSERT_NE(event->payload(), nullptr);
    switch (type) {
      case 0:
        EXPECT_TRUE(event->payload_as_BoolPayload()->value());
        break;
      case 1:
        EXPECT_EQ(event->payload_as_WordPayload()->value(), 77U);
        break;
      case 2:
        EXPECT_EQ(event->payload_as_BytePayload()->value(), 1);
        break;
      case 3:
        EXPECT_EQ(event->payload_as_Word2Payload()->value(), 77U);
        break;
      case 4:
        EXPECT_EQ(event->payload_as_ByteTextPayload()->value(), 1);
        EXPECT_EQ(event->payload_as_ByteTextPayload()->text()->str(), "hello");
        break;
      default:
        EXPECT_EQ(event->payload_as_WordTextPayload()->value(), 77U);
        EXPECT_EQ(event->payload_as_WordTextPayload()->text()->str(), "hello");
    }
  }
}

TEST(BuildNotification, HasNoPayloadForAnUnknownType) {
  const Bytes bytes = BuildNotification({.type = 9}, "other");
  const auto* message = Message(bytes);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->func_name()->str(), "other");
  ASSERT_NE(message->event(), nullptr);
  EXPECT_EQ(message->event()->event_type(), 9);
  EXPECT_EQ(message->event()->payload_type(), 0);
  EXPECT_EQ(message->event()->payload(), nullptr);
}

}  // namespace
}  // namespace zor::sim
