#include "tests/hostile/support/expected_event.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "notify/event_decoder.h"
#include "zor_messages_generated.h"

namespace zor::hostile {
namespace {

using messages::CallMessage;

constexpr std::size_t kMessageLimit = 1024;
constexpr const char* kName = "ZorIntfNotify";

const CallMessage* Verified(std::span<const std::uint8_t> message) {
  if (message.size() <= sizeof(flatbuffers::uoffset_t)) return nullptr;
  const auto root = flatbuffers::ReadScalar<flatbuffers::uoffset_t>(message.data());
  if (root >= message.size()) return nullptr;
  flatbuffers::Verifier verifier(message.data(), message.size());
  const auto* call = flatbuffers::GetRoot<CallMessage>(message.data());
  return call->Verify(verifier) ? call : nullptr;
}

std::optional<Event> WithText(Event event, const flatbuffers::String* text) {
  if (text == nullptr) return std::nullopt;
  event.text = text->c_str();
  return event;
}

std::optional<Event> Read(const CallMessage& message) {
  if (message.func_name() == nullptr || std::strcmp(message.func_name()->c_str(), kName) != 0) {
    return std::nullopt;
  }
  const auto* notify = message.event();
  if (notify == nullptr) return std::nullopt;
  Event event{.type = notify->event_type()};
  if (event.type > 5) return event;
  if (notify->payload_type() != event.type + 1 || notify->payload() == nullptr) return std::nullopt;

  switch (event.type) {
    case 0:
      event.flag = notify->payload_as_BoolPayload()->value();
      return event;
    case 1:
      event.value = notify->payload_as_WordPayload()->value();
      return event;
    case 2:
      event.flag = notify->payload_as_BytePayload()->value() != 0;
      return event;
    case 3:
      event.value = notify->payload_as_Word2Payload()->value();
      return event;
    case 4:
      event.flag = notify->payload_as_ByteTextPayload()->value() != 0;
      return WithText(event, notify->payload_as_ByteTextPayload()->text());
    default:
      event.value = notify->payload_as_WordTextPayload()->value();
      return WithText(event, notify->payload_as_WordTextPayload()->text());
  }
}

}  // namespace

Event Event::Of(const ZorEvent& event) {
  Event read{.type = event.type};
  switch (event.type) {
    case 0:
      read.flag = event.data.event0.flag;
      break;
    case 1:
      read.value = event.data.event1.value;
      break;
    case 2:
      read.flag = event.data.event2.flag;
      break;
    case 3:
      read.value = event.data.event3.value;
      break;
    case 4:
      read.flag = event.data.event4.flag;
      read.text = event.data.event4.text;
      break;
    case 5:
      read.value = event.data.event5.value;
      read.text = event.data.event5.text;
      break;
    default:
      break;
  }
  return read;
}

std::ostream& operator<<(std::ostream& stream, const Event& event) {
  return stream << "type " << event.type << ", flag " << event.flag << ", value " << event.value
                << ", text \"" << event.text << '"';
}

std::optional<Event> Expected(std::span<const std::uint8_t> message) {
  if (message.size() > kMessageLimit) return std::nullopt;
  if (const CallMessage* valid = Verified(message)) return Read(*valid);

  // A block of its own: nothing of an earlier message lies behind this one.
  const std::vector<std::uint8_t> alone(message.begin(), message.end());
  const char* name = ReadFunctionName(alone);
  ZorEvent event{};
  if (name == nullptr || std::string_view(name) != kName || !ReadEvent(alone, event)) {
    return std::nullopt;
  }
  return Event::Of(event);
}

}  // namespace zor::hostile
