// Building requests: what is in the bytes, and what is left out.
#include "messages/request.h"

#include <gmock/gmock.h>

#include <limits>
#include <vector>

#include "messages/reply.h"
#include "tests/kit/messages.h"

namespace zor::messages {
namespace {

using testing::BuildMessage;
using testing::Bytes;
using ::testing::ElementsAre;
using ::testing::StrEq;

const CallMessage& Root(const Bytes& bytes) {
  const CallMessage* root = CheckReply(bytes);
  EXPECT_NE(root, nullptr);
  return *root;
}

/// The vtable offsets of the fields that a table holds.
std::vector<int> Fields(const void* table) {
  const auto* start = static_cast<const std::uint8_t*>(table);
  const auto* vtable = start - flatbuffers::ReadScalar<flatbuffers::soffset_t>(start);
  std::vector<int> fields;
  for (int field = 4; field < flatbuffers::ReadScalar<std::uint16_t>(vtable); field += 2) {
    if (flatbuffers::ReadScalar<std::uint16_t>(vtable + field) != 0) fields.push_back(field);
  }
  return fields;
}

Bytes SetRequest(float value) {
  return BuildMessage([&](Builder& builder) {
    const auto param = CreateFloatParamDirect(builder, "gain", value);
    return BuildRequest(builder, {.func_name = "ZorIntfSet", .float_param = param});
  });
}

TEST(Request, WithoutArgumentsHoldsOnlyItsNameAndStatus7) {
  const Bytes bytes = BuildMessage(
      [](Builder& builder) { return BuildRequest(builder, {.func_name = "ZorIntfGetInfo"}); });
  const CallMessage& root = Root(bytes);
  EXPECT_THAT(Fields(&root), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
  EXPECT_THAT(root.func_name()->c_str(), StrEq("ZorIntfGetInfo"));
  EXPECT_EQ(root.status(), 7);
}

TEST(Request, HasTheLayoutThatTheOrderOfCreationGives) {
  const Bytes bytes = BuildMessage([](Builder& builder) {
    return BuildRequest(builder, {.func_name = "abc", .enum_type = 9, .handle = 0x04030201});
  });
  // clang-format off
  EXPECT_THAT(bytes, ElementsAre(
      28, 0, 0, 0,             // the root table is at 28
      0, 0,                    // padding
      22, 0, 16, 0,            // its vtable: 22 bytes, for a table of 16
      8, 0,                    // func_name is at 8 of the table
      0, 0, 0, 0, 0, 0, 0, 0,  // no server_info, enum_result, text_param, float_param
      6, 0, 7, 0,              // enum_type, status
      0, 0,                    // no event
      12, 0,                   // handle; nothing after it
      22, 0, 0, 0,             // the table: its vtable is 22 bytes before it
      0, 0,                    // padding
      9, 7,                    // enum_type, status: added last, so lowest
      8, 0, 0, 0,              // func_name, 8 bytes from here
      1, 2, 3, 4,              // handle: added first of these, so highest
      3, 0, 0, 0, 'a', 'b', 'c', 0));
  // clang-format on
}

TEST(Request, CarriesStatus7AndNoResultWhateverItCarries) {
  const Bytes bytes = BuildMessage([](Builder& builder) {
    const auto text = CreateTextParamDirect(builder, "a", "b");
    const auto param = CreateFloatParamDirect(builder, "c", 1.0F);
    const std::vector<std::uint8_t> data{1};
    const auto block = CreateBlobParamDirect(builder, "d", 1, &data);
    return BuildRequest(builder, {.func_name = "e",
                                  .text_param = text,
                                  .float_param = param,
                                  .enum_type = 2,
                                  .handle = 3,
                                  .blob_param = block});
  });
  const CallMessage& root = Root(bytes);
  EXPECT_THAT(Fields(&root), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                         CallMessage::VT_FLOAT_PARAM, CallMessage::VT_ENUM_TYPE,
                                         CallMessage::VT_STATUS, CallMessage::VT_HANDLE,
                                         CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(root.status(), 7);
}

TEST(Request, HasTheSlotsOfTheProtocol) {
  EXPECT_EQ(CallMessage::VT_FUNC_NAME, 4);
  EXPECT_EQ(CallMessage::VT_SERVER_INFO, 6);
  EXPECT_EQ(CallMessage::VT_ENUM_RESULT, 8);
  EXPECT_EQ(CallMessage::VT_TEXT_PARAM, 10);
  EXPECT_EQ(CallMessage::VT_FLOAT_PARAM, 12);
  EXPECT_EQ(CallMessage::VT_ENUM_TYPE, 14);
  EXPECT_EQ(CallMessage::VT_STATUS, 16);
  EXPECT_EQ(CallMessage::VT_EVENT, 18);
  EXPECT_EQ(CallMessage::VT_HANDLE, 20);
  EXPECT_EQ(CallMessage::VT_RESULT, 22);
  EXPECT_EQ(CallMessage::VT_BLOB_PARAM, 24);
  EXPECT_EQ(CallMessage::VT_BLOB_RESULT, 26);
  EXPECT_EQ(EnumResult::VT_COUNT, 4);
  EXPECT_EQ(EnumResult::VT_NAMES, 6);
  EXPECT_EQ(TextParam::VT_NAME, 4);
  EXPECT_EQ(TextParam::VT_VALUE, 6);
  EXPECT_EQ(FloatParam::VT_NAME, 4);
  EXPECT_EQ(FloatParam::VT_VALUE, 6);
  EXPECT_EQ(BlobParam::VT_NAME, 4);
  EXPECT_EQ(BlobParam::VT_SIZE, 6);
  EXPECT_EQ(BlobParam::VT_DATA, 8);
  EXPECT_EQ(NotifyEvent::VT_EVENT_TYPE, 4);
  EXPECT_EQ(NotifyEvent::VT_PAYLOAD_TYPE, 6);
  EXPECT_EQ(NotifyEvent::VT_PAYLOAD, 8);
  EXPECT_EQ(EventPayload_BoolPayload, 1);
  EXPECT_EQ(EventPayload_WordPayload, 2);
  EXPECT_EQ(EventPayload_BytePayload, 3);
  EXPECT_EQ(EventPayload_Word2Payload, 4);
  EXPECT_EQ(EventPayload_ByteTextPayload, 5);
  EXPECT_EQ(EventPayload_WordTextPayload, 6);
  EXPECT_EQ(sizeof(ServerInfo), 16U);
}

TEST(Request, LeavesOutAValueOfPlusOrMinusZeroAndTheServerReadsZero) {
  for (const float zero : {0.0F, -0.0F}) {
    const Bytes bytes = SetRequest(zero);
    const FloatParam* param = Root(bytes).float_param();
    EXPECT_THAT(Fields(param), ElementsAre(FloatParam::VT_NAME));
    EXPECT_EQ(param->value(), 0.0F);
  }
}

TEST(Request, SendsANaN) {
  const Bytes bytes = SetRequest(std::numeric_limits<float>::quiet_NaN());
  const FloatParam* param = Root(bytes).float_param();
  EXPECT_NE(param->value(), param->value());
}

TEST(Request, WithAnEmptyBlockCarriesAnEmptyVectorAndNoSize) {
  const Bytes bytes = BuildMessage([](Builder& builder) {
    const std::vector<std::uint8_t> none;
    const auto block = CreateBlobParamDirect(builder, "preset", 0, &none);
    return BuildRequest(builder, {.func_name = "ZorIntfSetSerialized", .blob_param = block});
  });
  const BlobParam* block = Root(bytes).blob_param();
  EXPECT_THAT(Fields(block), ElementsAre(BlobParam::VT_NAME, BlobParam::VT_DATA));
  EXPECT_EQ(block->data()->size(), 0U);
}

TEST(Request, WithoutABlockCarriesNoVector) {
  const Bytes bytes = BuildMessage([](Builder& builder) {
    const auto block = CreateBlobParamDirect(builder, "preset", 0, nullptr);
    return BuildRequest(builder, {.func_name = "ZorIntfGetSerialized", .blob_param = block});
  });
  EXPECT_THAT(Fields(Root(bytes).blob_param()), ElementsAre(BlobParam::VT_NAME));
}

TEST(Request, CarriesTextsAsTheyAreAndLeavesNullOnesOut) {
  const Bytes bytes = BuildMessage([](Builder& builder) {
    const auto text = CreateTextParamDirect(builder, "\xFF\x01 odd", nullptr);
    return BuildRequest(builder, {.func_name = "ZorIntfCreate", .text_param = text});
  });
  const TextParam* text = Root(bytes).text_param();
  EXPECT_THAT(Fields(text), ElementsAre(TextParam::VT_NAME));
  EXPECT_THAT(text->name()->c_str(), StrEq("\xFF\x01 odd"));
}

TEST(Request, HasNoIdentifierAndNoSizePrefix) {
  const Bytes bytes = SetRequest(1.0F);
  // The first word is the root's offset: a table whose vtable lies inside the message.
  const auto root = flatbuffers::ReadScalar<std::uint32_t>(bytes.data());
  ASSERT_LT(root, bytes.size());
  EXPECT_NE(root, bytes.size() - sizeof(std::uint32_t));
  EXPECT_EQ(&Root(bytes), static_cast<const void*>(bytes.data() + root));
}

}  // namespace
}  // namespace zor::messages
