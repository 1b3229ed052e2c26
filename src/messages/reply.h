/// Checking replies.
#pragma once

#include <cstdint>
#include <span>

#include "zor_messages_generated.h"  // IWYU pragma: export

namespace zor::messages {

/// The reply's root table, in place, or null when these bytes are not a valid message. `bytes` is
/// exactly what was read, and must be aligned to 8.
[[nodiscard]] const CallMessage* CheckReply(std::span<const std::uint8_t> bytes);

}  // namespace zor::messages
