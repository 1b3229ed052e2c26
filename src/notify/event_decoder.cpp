#include "notify/event_decoder.h"

#include <optional>

#include "notify/table_reader.h"
#include "zor_messages_generated.h"

namespace zor {
namespace {

using messages::CallMessage;
using messages::NotifyEvent;

// All payload tables have their value first and their text, if any, second.
constexpr std::uint16_t kValue = messages::WordTextPayload::VT_VALUE;
constexpr std::uint16_t kText = messages::WordTextPayload::VT_TEXT;
static_assert(messages::BoolPayload::VT_VALUE == kValue);
static_assert(messages::WordPayload::VT_VALUE == kValue);
static_assert(messages::BytePayload::VT_VALUE == kValue);
static_assert(messages::Word2Payload::VT_VALUE == kValue);
static_assert(messages::ByteTextPayload::VT_VALUE == kValue);
static_assert(messages::ByteTextPayload::VT_TEXT == kText);

constexpr std::uint8_t kLastType = 5;

bool ReadFlag(const TableReader& payload, bool& flag) noexcept {
  const auto value = payload.Scalar<std::uint8_t>(kValue);
  if (value) flag = *value != 0;
  return value.has_value();
}

bool ReadValue(const TableReader& payload, std::uint32_t& value) noexcept {
  const auto read = payload.Scalar<std::uint32_t>(kValue);
  if (read) value = *read;
  return read.has_value();
}

bool ReadText(const TableReader& payload, const char*& text) noexcept {
  const char* read = payload.String(kText);
  if (read != nullptr) text = read;
  return read != nullptr;
}

bool ReadPayload(const TableReader& payload, std::uint8_t type, ZorEvent& event) noexcept {
  switch (type) {
    case 0:
      return ReadFlag(payload, event.data.event0.flag);
    case 1:
      return ReadValue(payload, event.data.event1.value);
    case 2:
      return ReadFlag(payload, event.data.event2.flag);
    case 3:
      return ReadValue(payload, event.data.event3.value);
    case 4:
      return ReadFlag(payload, event.data.event4.flag) && ReadText(payload, event.data.event4.text);
    default:
      return ReadValue(payload, event.data.event5.value) &&
             ReadText(payload, event.data.event5.text);
  }
}

}  // namespace

const char* ReadFunctionName(std::span<const std::uint8_t> message) noexcept {
  const auto root = TableReader::Root(message);
  return root ? root->String(CallMessage::VT_FUNC_NAME) : nullptr;
}

bool ReadEvent(std::span<const std::uint8_t> message, ZorEvent& event) noexcept {
  const auto root = TableReader::Root(message);
  if (!root) return false;
  const auto table = root->Table(CallMessage::VT_EVENT);
  if (!table) return false;
  const auto type = table->Scalar<std::uint8_t>(NotifyEvent::VT_EVENT_TYPE);
  if (!type) return false;

  // Types above the last carry nothing that is read: the payload of the event before stays.
  if (*type <= kLastType) {
    const auto member = table->Scalar<std::uint8_t>(NotifyEvent::VT_PAYLOAD_TYPE);
    if (!member || *member != *type + 1) return false;
    const auto payload = table->Table(NotifyEvent::VT_PAYLOAD);
    if (!payload) return false;
    ZorEvent filled = event;
    if (!ReadPayload(*payload, *type, filled)) return false;
    event = filled;
  }
  event.type = *type;
  return true;
}

}  // namespace zor
