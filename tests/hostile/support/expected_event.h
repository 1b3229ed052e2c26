/// What the callback must be given for the bytes of one notification.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>

#include "interface/zor_interface.h"

namespace zor::hostile {

/// The members of an event that its type has.
struct Event {
  std::uint32_t type = 0;
  bool flag = false;
  std::uint32_t value = 0;
  std::string text = {};

  bool operator==(const Event&) const = default;

  /// Reads what the type has, the text to its end.
  [[nodiscard]] static Event Of(const ZorEvent& event);
};

std::ostream& operator<<(std::ostream& stream, const Event& event);

/// Nothing when the message is to be dropped. A valid message is read by the generated accessors;
/// of any other the product's decoder says what to expect, with only this message in sight.
[[nodiscard]] std::optional<Event> Expected(std::span<const std::uint8_t> message);

}  // namespace zor::hostile
