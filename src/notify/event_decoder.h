/// Reading one notification: bytes of a message in, name and event out.
///
/// Notifications are taken as they come, without a verifier, reading only what is needed. Whatever
/// the bytes are, no read leaves them.
#pragma once

#include <cstdint>
#include <span>

#include "interface/zor_interface.h"

namespace zor {

/// The message's function name, NUL-terminated inside the message; null when it cannot be read.
[[nodiscard]] const char* ReadFunctionName(std::span<const std::uint8_t> message) noexcept;

/// Fills `event` from the message's event: its type, and the payload members of that type, leaving
/// the rest as it was. Texts point into the message. False, with `event` as it was, when something
/// that is needed is absent or lies outside the message.
[[nodiscard]] bool ReadEvent(std::span<const std::uint8_t> message, ZorEvent& event) noexcept;

}  // namespace zor
