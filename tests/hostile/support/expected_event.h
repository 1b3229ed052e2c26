/// What the callback must be given for the bytes of one notification.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tests/kit/events.h"

namespace zor::hostile {

using Event = testing::EventCopy;

/// Nothing when the message is to be dropped. A valid message is read by the generated accessors,
/// any other by a reader of its own; neither is the product's.
[[nodiscard]] std::optional<Event> Expected(std::span<const std::uint8_t> message);

}  // namespace zor::hostile
