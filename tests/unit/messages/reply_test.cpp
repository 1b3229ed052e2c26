// Checking replies.
#include "messages/reply.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "tests/kit/messages.h"
#include "tests/support/exact_block.h"

namespace zor::messages {
namespace {

using scripted::ExactBlock;
using scripted::ForEachMutation;
using scripted::ForEachTruncation;
using testing::Build;
using testing::BuildMessage;
using testing::Bytes;
using testing::Reply;

/// A reply with everything in it.
Bytes RichReply() {
  return Build(Reply{.server_info = ServerInfo(1, 2, 3, 4),
                     .enum_result = Reply::Names{2, {{"general", "private"}}},
                     .float_param = 2.5F,
                     .status = 255,
                     .handle = 77,
                     .result = 5,
                     .blob_result = Reply::Block{"preset", 3, Bytes{9, 8, 7}}});
}

unsigned Sum(const flatbuffers::String* text) {
  if (text == nullptr) return 0;
  return std::accumulate(text->begin(), text->end(), static_cast<unsigned char>(*text->end()));
}

unsigned Sum(const BlobParam* block) {
  if (block == nullptr) return 0;
  unsigned sum = Sum(block->name()) + block->size();
  if (const auto* data = block->data()) sum = std::accumulate(data->begin(), data->end(), sum);
  return sum;
}

/// Reads every byte that the accessors lead to.
unsigned Sum(const CallMessage& root) {
  unsigned sum = Sum(root.func_name()) + root.enum_type() + root.status() + root.handle();
  sum += root.result() + Sum(root.blob_param()) + Sum(root.blob_result());
  if (const auto* info = root.server_info()) {
    sum += info->info0() + info->info1() + info->info2() + info->info3();
  }
  if (const auto* list = root.enum_result()) {
    sum += list->count();
    if (const auto* names = list->names()) {
      for (const auto* name : *names) sum += Sum(name);
    }
  }
  if (const auto* text = root.text_param()) sum += Sum(text->name()) + Sum(text->value());
  if (const auto* param = root.float_param()) {
    sum += Sum(param->name()) + (param->value() != 0.0F ? 1U : 0U);
  }
  if (const auto* event = root.event()) sum += event->event_type();
  return sum;
}

TEST(CheckReply, FindsEveryFieldOfAValidReply) {
  const Bytes bytes = RichReply();
  const CallMessage* root = CheckReply(bytes);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->server_info()->info3(), 4U);
  EXPECT_EQ(root->enum_result()->count(), 2U);
  EXPECT_EQ(root->enum_result()->names()->Get(1)->string_view(), "private");
  EXPECT_EQ(root->float_param()->value(), 2.5F);
  EXPECT_EQ(root->status(), 255);
  EXPECT_EQ(root->handle(), 77U);
  EXPECT_EQ(root->result(), 5U);
  EXPECT_EQ(root->blob_result()->data()->Get(2), 7);
}

TEST(CheckReply, RejectsFewerThanFiveBytes) {
  for (std::size_t size = 0; size < 5; ++size) {
    EXPECT_EQ(CheckReply(ExactBlock(Bytes(size)).bytes()), nullptr) << size << " bytes";
  }
}

TEST(CheckReply, RejectsARootWithFewerThanFourBytesLeft) {
  Bytes bytes(16);
  for (std::uint32_t root = 13; root < 20; ++root) {
    std::memcpy(bytes.data(), &root, sizeof(root));
    EXPECT_EQ(CheckReply(ExactBlock(bytes).bytes()), nullptr) << "root at " << root;
  }
}

TEST(CheckReply, RejectsARootFarOutside) {
  Bytes bytes = RichReply();
  for (const std::uint32_t root : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 0xFFFFFFFCU}) {
    std::memcpy(bytes.data(), &root, sizeof(root));
    EXPECT_EQ(CheckReply(ExactBlock(bytes).bytes()), nullptr) << "root at " << root;
  }
}

TEST(CheckReply, RejectsAMisalignedRoot) {
  Bytes bytes = RichReply();
  ++bytes[0];
  EXPECT_EQ(CheckReply(ExactBlock(bytes).bytes()), nullptr);
}

TEST(CheckReply, RejectsANameWithoutItsTerminatorInside) {
  Bytes bytes = BuildMessage([](flatbuffers::FlatBufferBuilder& builder) {
    return CreateCallMessageDirect(builder, "abc");  // the message's last four bytes
  });
  ASSERT_NE(CheckReply(bytes), nullptr);
  bytes.back() = 'd';
  EXPECT_EQ(CheckReply(ExactBlock(bytes).bytes()), nullptr);
  bytes.pop_back();
  EXPECT_EQ(CheckReply(ExactBlock(bytes).bytes()), nullptr);
}

TEST(CheckReply, RejectsAListWithABrokenNameInIt) {
  Bytes bytes = Build(Reply{.enum_result = Reply::Names{1, {{"broken!"}}}});
  const auto* root = CheckReply(bytes);
  ASSERT_NE(root, nullptr);
  const auto* name = root->enum_result()->names()->Get(0);
  const auto terminator = static_cast<std::size_t>(name->Data() - bytes.data()) + name->size();
  bytes[terminator] = '!';
  EXPECT_EQ(CheckReply(bytes), nullptr);
}

/// A message with an event whose payload is said to be `member`.
Bytes EventMessage(int member) {
  return BuildMessage([&](flatbuffers::FlatBufferBuilder& builder) {
    const auto payload = CreateWordPayload(builder, 1).Union();
    const auto event = CreateNotifyEvent(builder, 9, static_cast<EventPayload>(member), payload);
    return CreateCallMessage(builder, 0, nullptr, 0, 0, 0, 0, 0, event);
  });
}

/// The same with a payload that is no table: its vtable would be far outside.
Bytes BrokenEventMessage(int member) {
  Bytes bytes = EventMessage(member);
  const auto* payload = static_cast<const std::uint8_t*>(CheckReply(bytes)->event()->payload());
  bytes[static_cast<std::size_t>(payload - bytes.data()) + 3] = 0x7F;
  return bytes;
}

TEST(CheckReply, AcceptsAnUnknownPayloadTypeWithoutLookingAtIt) {
  for (const int member : {7, 9, 255}) {
    EXPECT_NE(CheckReply(EventMessage(member)), nullptr) << "type " << member;
    EXPECT_NE(CheckReply(BrokenEventMessage(member)), nullptr) << "type " << member;
  }
}

TEST(CheckReply, RejectsAPayloadOutsideTheMessageWhateverItsType) {
  Bytes bytes = EventMessage(9);
  const auto* event = reinterpret_cast<const flatbuffers::Table*>(CheckReply(bytes)->event());
  const auto* offset = event->GetAddressOf(NotifyEvent::VT_PAYLOAD);
  bytes[static_cast<std::size_t>(offset - bytes.data()) + 1] = 0x10;
  EXPECT_EQ(CheckReply(bytes), nullptr);
}

TEST(CheckReply, ChecksAPayloadOfAKnownType) {
  EXPECT_NE(CheckReply(EventMessage(EventPayload_WordPayload)), nullptr);
  for (int member = EventPayload_BoolPayload; member <= EventPayload_WordTextPayload; ++member) {
    EXPECT_EQ(CheckReply(BrokenEventMessage(member)), nullptr) << "type " << member;
  }
}

TEST(CheckReply, RejectsEveryTruncationOfAValidReply) {
  ForEachTruncation(RichReply(), [](std::span<const std::uint8_t> bytes) {
    EXPECT_EQ(CheckReply(bytes), nullptr) << bytes.size() << " bytes";
  });
}

TEST(CheckReply, IgnoresWhatFollowsTheMessage) {
  Bytes bytes = RichReply();
  bytes.resize(1024);
  EXPECT_NE(CheckReply(bytes), nullptr);
}

TEST(CheckReply, LeadsNowhereOutsideWhateverByteIsChanged) {
  unsigned sum = 0;
  int accepted = 0;
  int rejected = 0;
  ForEachMutation(RichReply(), [&](std::span<const std::uint8_t> bytes) {
    const CallMessage* root = CheckReply(bytes);
    if (root == nullptr) {
      ++rejected;
      return;
    }
    ++accepted;
    sum += Sum(*root);
  });
  EXPECT_GT(accepted, 0);
  EXPECT_GT(rejected, 0);
  EXPECT_NE(sum, 0U);
}

}  // namespace
}  // namespace zor::messages
