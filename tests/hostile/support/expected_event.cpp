#include "tests/hostile/support/expected_event.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using messages::CallMessage;
using testing::Bytes;

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

// The same of a message that the verifier refuses. What is needed and absent, or not wholly inside
// the message, throws std::out_of_range.

template <typename T>
T Number(const Bytes& message, std::int64_t position) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    number |= std::uint32_t{message.at(static_cast<std::size_t>(position) + i)} << (8 * i);
  }
  return static_cast<T>(number);
}

/// A table, by its position: the distance back to its field offsets, and the fields.
struct Table {
  const Bytes& message;
  std::int64_t position;

  /// Where the field of this number is; 0 when it is absent.
  [[nodiscard]] std::int64_t Field(int number) const {
    const std::int64_t offsets = position - Number<std::int32_t>(message, position);
    const int slot = 4 + 2 * number;
    if (slot + 2 > Number<std::uint16_t>(message, offsets)) return 0;
    const auto offset = Number<std::uint16_t>(message, offsets + slot);
    return offset == 0 ? 0 : position + offset;
  }

  template <typename T>
  [[nodiscard]] T Scalar(int number) const {
    const std::int64_t field = Field(number);
    return field == 0 ? T{0} : Number<T>(message, field);
  }

  /// What the field leads to.
  [[nodiscard]] std::int64_t Target(int number) const {
    const std::int64_t field = Field(number);
    if (field == 0) throw std::out_of_range("absent");
    return field + Number<std::uint32_t>(message, field);
  }

  [[nodiscard]] std::string Text(int number) const {
    const std::int64_t target = Target(number);
    const std::int64_t begin = target + 4;
    const auto length = Number<std::uint32_t>(message, target);
    if (Number<std::uint8_t>(message, begin + length) != 0) throw std::out_of_range("no end");
    return reinterpret_cast<const char*>(&message.at(static_cast<std::size_t>(begin)));
  }
};

std::optional<Event> ReadUnverified(const Bytes& message) {
  const Table root{message, Number<std::uint32_t>(message, 0)};
  if (root.Text(0) != kName) return std::nullopt;
  const Table notify{message, root.Target(7)};
  Event event{.type = notify.Scalar<std::uint8_t>(0)};
  if (event.type > 5) return event;
  if (notify.Scalar<std::uint8_t>(1) != event.type + 1) return std::nullopt;
  const Table payload{message, notify.Target(2)};
  if (event.type % 2 == 0) {
    event.flag = payload.Scalar<std::uint8_t>(0) != 0;
  } else {
    event.value = payload.Scalar<std::uint32_t>(0);
  }
  if (event.type >= 4) event.text = payload.Text(1);
  return event;
}

}  // namespace

std::optional<Event> Expected(std::span<const std::uint8_t> message) {
  if (message.size() > kMessageLimit) return std::nullopt;
  if (const CallMessage* valid = Verified(message)) return Read(*valid);
  try {
    return ReadUnverified(Bytes(message.begin(), message.end()));
  } catch (const std::out_of_range&) {
    return std::nullopt;
  }
}

}  // namespace zor::hostile
