/// What the server tells its clients unasked.
#pragma once

#include <cstdint>
#include <string>

namespace zor::sim {

/// The types that the instance model raises.
enum class NotificationType : std::uint8_t {
  kRunning = 0,       ///< flag: true when the first instance starts, false when the last stops
  kCreated = 1,       ///< value: the new instance's handle
  kBlobStored = 2,    ///< flag: whether the block has any bytes
  kDestroyed = 3,     ///< value: the handle
  kParameterSet = 4,  ///< flag: whether the value is other than 0; text: the parameter's name
  kStateChanged = 5,  ///< value: the handle; text: the new state's name
};

/// One notification; which of `flag`, `value` and `text` are sent depends on the type. Types above
/// 5, which only a scenario can raise, are sent without a payload.
struct Notification {
  std::uint8_t type = 0;
  bool flag = false;
  std::uint32_t value = 0;
  std::string text = {};

  bool operator==(const Notification&) const = default;
};

}  // namespace zor::sim
