/// Building what the server sends.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/notification.h"
#include "simulator/results.h"
#include "simulator/scenario.h"

namespace zor::sim {

struct ParameterValue {
  std::string name = {};
  float value = 0;
};

/// The fields of a reply; what is left empty is left out of the message.
struct Reply {
  std::uint32_t result = 0;
  std::optional<std::array<std::uint32_t, 4>> information = {};
  std::optional<std::vector<std::string>> names = {};
  std::optional<ParameterValue> parameter = {};
  std::uint8_t status = 0;
  std::uint32_t handle = 0;
  std::optional<Blob> blob = {};
};

[[nodiscard]] Bytes BuildReply(const Reply& reply);

/// A notification of a type above 5 has an event without a payload.
[[nodiscard]] Bytes BuildNotification(const Notification& notification,
                                      const std::string& func_name = "ZorIntfNotify");

}  // namespace zor::sim
