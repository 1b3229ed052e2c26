// The notification decoder on one message.
#include <cstring>

#include "fuzz/harness.h"
#include "messages/reply.h"
#include "notify/event_decoder.h"

namespace zor::fuzz {
namespace {

bool SameText(const char* text, const flatbuffers::String* expected) {
  return expected != nullptr && text == expected->c_str();
}

/// Whether `event` is what a verified message says, read through the generated accessors.
bool Agrees(const messages::NotifyEvent& sent, const ZorEvent& event) {
  if (event.type != sent.event_type()) return false;
  switch (event.type) {
    case 0:
      return event.data.event0.flag == sent.payload_as_BoolPayload()->value();
    case 1:
      return event.data.event1.value == sent.payload_as_WordPayload()->value();
    case 2:
      return event.data.event2.flag == (sent.payload_as_BytePayload()->value() != 0);
    case 3:
      return event.data.event3.value == sent.payload_as_Word2Payload()->value();
    case 4: {
      const auto& payload = *sent.payload_as_ByteTextPayload();
      return event.data.event4.flag == (payload.value() != 0) &&
             SameText(event.data.event4.text, payload.text());
    }
    case 5: {
      const auto& payload = *sent.payload_as_WordTextPayload();
      return event.data.event5.value == payload.value() &&
             SameText(event.data.event5.text, payload.text());
    }
    default:
      return true;
  }
}

/// Whether a verified message holds an event that is to be delivered.
bool IsComplete(const messages::NotifyEvent* sent) {
  if (sent == nullptr) return false;
  if (sent->event_type() > 5) return true;
  if (sent->payload_type() != sent->event_type() + 1 || sent->payload() == nullptr) return false;
  if (sent->event_type() == 4) return sent->payload_as_ByteTextPayload()->text() != nullptr;
  if (sent->event_type() == 5) return sent->payload_as_WordTextPayload()->text() != nullptr;
  return true;
}

void RequireTexts(std::span<const std::uint8_t> message, const ZorEvent& event) {
  if (event.type == 4) Require(IsTextIn(message, event.data.event4.text), "text outside");
  if (event.type == 5) Require(IsTextIn(message, event.data.event5.text), "text outside");
}

void Decode(std::span<const std::uint8_t> message) {
  const char* name = ReadFunctionName(message);
  Require(name == nullptr || IsTextIn(message, name), "name outside");

  ZorEvent before;
  std::memset(&before, 0xA5, sizeof(before));
  ZorEvent event;
  std::memcpy(&event, &before, sizeof(event));
  const bool delivered = ReadEvent(message, event);
  if (!delivered) Require(std::memcmp(&event, &before, sizeof(event)) == 0, "event touched");
  if (delivered) RequireTexts(message, event);

  // A message that a verifier accepts must come out as the accessors read it.
  const auto* verified = messages::CheckReply(message);
  if (verified == nullptr) return;
  Require(name == (verified->func_name() == nullptr ? nullptr : verified->func_name()->c_str()),
          "name differs");
  Require(delivered == IsComplete(verified->event()), "delivered or dropped wrongly");
  Require(!delivered || Agrees(*verified->event(), event), "event differs");
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zor::fuzz::Block message({data, size});
  zor::fuzz::Decode(message.bytes());
  return 0;
}
