// Reading one notification, whatever its bytes are.
#include "notify/event_decoder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>

#include "tests/kit/messages.h"
#include "tests/support/exact_block.h"

namespace zor::scripted {
namespace {

using testing::Build;
using testing::BuildMessage;
using testing::Bytes;
using testing::Notification;

using flatbuffers::FlatBufferBuilder;
using Message = std::span<const std::uint8_t>;

/// One message of each type that has a payload.
const std::array<Notification, 6> kNotifications{{
    {.type = 0, .value = 1},
    {.type = 1, .value = 0x04030201},
    {.type = 2, .value = 0x80},
    {.type = 3, .value = 0xFFFFFFFF},
    {.type = 4, .value = 1, .text = "device lost"},
    {.type = 5, .value = 7, .text = "underrun in block seven"},
}};

/// An event as no message leaves it.
ZorEvent Stale() {
  ZorEvent event;
  std::memset(&event, 0xA5, sizeof(event));
  return event;
}

bool Same(const ZorEvent& a, const ZorEvent& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }

/// A notification whose event table is whatever `build` makes.
template <typename Build>
Bytes MessageWithEvent(Build build) {
  return BuildMessage([&](FlatBufferBuilder& builder) {
    const auto event = build(builder);
    return messages::CreateCallMessageDirect(builder, "ZorIntfNotify", nullptr, 0, 0, 0, 0, 0,
                                             event);
  });
}

/// `text` with its terminator lies inside `message`, or this fails.
void ExpectInside(Message message, const char* text) {
  const auto* start = reinterpret_cast<const std::uint8_t*>(text);
  const auto* end = message.data() + message.size();
  ASSERT_GE(start, message.data());
  ASSERT_LT(start, end);
  EXPECT_NE(std::memchr(start, 0, static_cast<std::size_t>(end - start)), nullptr);
}

TEST(ReadFunctionName, FindsIt) {
  for (const char* name : {"ZorIntfNotify", "", "zorintfnotify", "x"}) {
    const Bytes message = Build(Notification{.type = 1, .func_name = name});
    ASSERT_NE(ReadFunctionName(message), nullptr);
    EXPECT_STREQ(ReadFunctionName(message), name);
  }
}

TEST(ReadFunctionName, IsNullWhereThereIsNone) {
  const Bytes message = BuildMessage(
      [](FlatBufferBuilder& builder) { return messages::CreateCallMessage(builder, 0); });
  EXPECT_EQ(ReadFunctionName(message), nullptr);
  EXPECT_EQ(ReadFunctionName({}), nullptr);
}

TEST(ReadEvent, FillsTheMembersOfEachType) {
  ZorEvent event = Stale();
  ASSERT_TRUE(ReadEvent(Build(kNotifications[0]), event));
  EXPECT_EQ(event.type, 0U);
  EXPECT_TRUE(event.data.event0.flag);

  ASSERT_TRUE(ReadEvent(Build(kNotifications[1]), event));
  EXPECT_EQ(event.type, 1U);
  EXPECT_EQ(event.data.event1.value, 0x04030201U);

  ASSERT_TRUE(ReadEvent(Build(kNotifications[2]), event));
  EXPECT_EQ(event.type, 2U);
  EXPECT_TRUE(event.data.event2.flag);

  ASSERT_TRUE(ReadEvent(Build(kNotifications[3]), event));
  EXPECT_EQ(event.type, 3U);
  EXPECT_EQ(event.data.event3.value, 0xFFFFFFFFU);

  const Bytes with_flag = Build(kNotifications[4]);
  ASSERT_TRUE(ReadEvent(with_flag, event));
  EXPECT_EQ(event.type, 4U);
  EXPECT_TRUE(event.data.event4.flag);
  EXPECT_STREQ(event.data.event4.text, "device lost");
  ExpectInside(with_flag, event.data.event4.text);

  const Bytes with_value = Build(kNotifications[5]);
  ASSERT_TRUE(ReadEvent(with_value, event));
  EXPECT_EQ(event.type, 5U);
  EXPECT_EQ(event.data.event5.value, 7U);
  EXPECT_STREQ(event.data.event5.text, "underrun in block seven");
  ExpectInside(with_value, event.data.event5.text);
}

TEST(ReadEvent, TakesAnAbsentValueAs0) {
  for (std::uint8_t type = 0; type <= 5; ++type) {
    ZorEvent event = Stale();
    const Bytes message = Build(Notification{.type = type, .text = "text"});
    ASSERT_TRUE(ReadEvent(message, event)) << "type " << int{type};
    EXPECT_EQ(event.type, type);
    if (type % 2 == 0) {
      EXPECT_FALSE(event.data.event0.flag);
    } else {
      EXPECT_EQ(event.data.event1.value, 0U);
    }
  }
}

TEST(ReadEvent, MakesAFlagOfAnyNonzeroByte) {
  for (const std::uint8_t type : {std::uint8_t{2}, std::uint8_t{4}}) {
    for (unsigned byte = 0; byte < 256; ++byte) {
      ZorEvent event = Stale();
      ASSERT_TRUE(ReadEvent(Build(Notification{.type = type, .value = byte}), event));
      EXPECT_EQ(event.data.event2.flag, byte != 0);
    }
  }
}

TEST(ReadEvent, LeavesWhatATypeDoesNotSet) {
  ZorEvent event = Stale();
  const Bytes message = Build(kNotifications[5]);
  ASSERT_TRUE(ReadEvent(message, event));
  const char* text = event.data.event5.text;
  ASSERT_TRUE(ReadEvent(Build(kNotifications[1]), event));
  EXPECT_EQ(event.data.event1.value, 0x04030201U);
  EXPECT_EQ(event.data.event5.text, text);
}

TEST(ReadEvent, TakesOnlyTheTypeOfATypeAbove5) {
  for (unsigned type = 6; type < 256; ++type) {
    ZorEvent event = Stale();
    const Bytes message = Build(Notification{.type = static_cast<std::uint8_t>(type)});
    ASSERT_TRUE(ReadEvent(message, event));
    ZorEvent expected = Stale();
    expected.type = type;
    EXPECT_TRUE(Same(event, expected));
  }
}

TEST(ReadEvent, WithATypeAbove5DoesNotLookAtThePayload) {
  ZorEvent event = Stale();
  EXPECT_TRUE(ReadEvent(MessageWithEvent([](FlatBufferBuilder& builder) {
                          const auto payload = messages::CreateWordPayload(builder, 1).Union();
                          return messages::CreateNotifyEvent(
                              builder, 9, messages::EventPayload_ByteTextPayload, payload);
                        }),
                        event));
  EXPECT_EQ(event.type, 9U);
}

TEST(ReadEvent, DropsAPayloadOfAnotherTypesMember) {
  for (std::uint8_t type = 0; type <= 5; ++type) {
    for (int member = 0; member <= 255; ++member) {
      if (member == type + 1) continue;
      ZorEvent event = Stale();
      EXPECT_FALSE(ReadEvent(
          MessageWithEvent([&](FlatBufferBuilder& builder) {
            const auto payload = messages::CreateWordTextPayloadDirect(builder, 1, "text");
            return messages::CreateNotifyEvent(
                builder, type, static_cast<messages::EventPayload>(member), payload.Union());
          }),
          event));
      EXPECT_TRUE(Same(event, Stale()));
    }
  }
}

TEST(ReadEvent, DropsAMessageWithoutAnEventAPayloadOrAText) {
  const Bytes without_event = BuildMessage([](FlatBufferBuilder& builder) {
    return messages::CreateCallMessageDirect(builder, "ZorIntfNotify");
  });
  ZorEvent event = Stale();
  EXPECT_FALSE(ReadEvent(without_event, event));
  EXPECT_FALSE(ReadEvent({}, event));

  for (std::uint8_t type = 0; type <= 5; ++type) {
    const auto member = static_cast<messages::EventPayload>(type + 1);
    EXPECT_FALSE(ReadEvent(MessageWithEvent([&](FlatBufferBuilder& builder) {
                             return messages::CreateNotifyEvent(builder, type, member, 0);
                           }),
                           event));
  }
  EXPECT_FALSE(ReadEvent(MessageWithEvent([](FlatBufferBuilder& builder) {
                           return messages::CreateNotifyEvent(
                               builder, 4, messages::EventPayload_ByteTextPayload,
                               messages::CreateByteTextPayload(builder, 1).Union());
                         }),
                         event));
  EXPECT_FALSE(ReadEvent(MessageWithEvent([](FlatBufferBuilder& builder) {
                           return messages::CreateNotifyEvent(
                               builder, 5, messages::EventPayload_WordTextPayload,
                               messages::CreateWordTextPayload(builder, 1).Union());
                         }),
                         event));
  EXPECT_TRUE(Same(event, Stale()));
}

TEST(ReadEvent, DropsATextWithoutItsTerminatorInside) {
  Bytes message = Build(Notification{.type = 4, .text = "text"});
  ZorEvent event = Stale();
  ASSERT_TRUE(ReadEvent(message, event));
  const auto text = static_cast<std::size_t>(
      reinterpret_cast<const std::uint8_t*>(event.data.event4.text) - message.data());
  message[text + 4] = 'x';
  event = Stale();
  EXPECT_FALSE(ReadEvent(ExactBlock(message).bytes(), event));
  EXPECT_TRUE(Same(event, Stale()));
}

/// Reads a message as the listener does, and checks what comes out of it.
bool ReadSafely(Message message) {
  const char* name = ReadFunctionName(message);
  if (name != nullptr) ExpectInside(message, name);

  ZorEvent event = Stale();
  if (!ReadEvent(message, event)) {
    EXPECT_TRUE(Same(event, Stale()));
    return false;
  }
  EXPECT_LT(event.type, 256U);
  if (event.type == 4) ExpectInside(message, event.data.event4.text);
  if (event.type == 5) ExpectInside(message, event.data.event5.text);
  return name != nullptr;
}

TEST(ReadEvent, StaysInsideEveryTruncationOfEveryType) {
  for (const Notification& notification : kNotifications) {
    const Bytes message = Build(notification);
    EXPECT_TRUE(ReadSafely(message));
    int delivered = 0;
    ForEachTruncation(message, [&](Message bytes) { delivered += ReadSafely(bytes) ? 1 : 0; });
    // The name is the message's end: cut short, it has lost its terminator or its padding only.
    EXPECT_LE(delivered, 3);
  }
}

TEST(ReadEvent, StaysInsideEveryMessageThatDiffersInOneByte) {
  for (const Notification& notification : kNotifications) {
    int delivered = 0;
    int dropped = 0;
    ForEachMutation(Build(notification),
                    [&](Message bytes) { ++(ReadSafely(bytes) ? delivered : dropped); });
    EXPECT_GT(delivered, 0);
    EXPECT_GT(dropped, 0);
  }
}

TEST(ReadEvent, StaysInsideWhateverAnOffsetBecomes) {
  const std::array<std::uint32_t, 9> wild{
      0, 1, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFF0, 0xFFFFFFFC, 0xFFFFFFFF, 1024};
  for (const Notification& notification : kNotifications) {
    const Bytes message = Build(notification);
    for (std::size_t position = 0; position + sizeof(std::uint32_t) <= message.size(); ++position) {
      for (const std::uint32_t value : wild) {
        Bytes changed = message;
        std::memcpy(changed.data() + position, &value, sizeof(value));
        static_cast<void>(ReadSafely(ExactBlock(changed).bytes()));
      }
    }
  }
}

}  // namespace
}  // namespace zor::scripted
