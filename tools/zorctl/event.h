/// A notification, copied, and how it is shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "interface/zor.hpp"
#include "tools/zorctl/report.h"

namespace zor::ctl {

/// A moment on the wall clock.
struct LocalTime {
  int year = 0, month = 0, day = 0;
  int hour = 0, minute = 0, second = 0, millisecond = 0;
  int offset_minutes = 0;  ///< ahead of UTC
};

/// As zor::Event, with the time at which it was delivered.
struct SeenEvent {
  LocalTime time;
  std::uint32_t type = 0;
  std::optional<bool> flag = {};
  std::optional<std::uint32_t> value = {};
  std::optional<std::string> text = {};
};

/// To be called in the callback: the text of `event` is gone afterwards.
[[nodiscard]] SeenEvent Copy(const Event& event, const LocalTime& time);

/// "12:34:56.789  type 5  value 1  "started"", one line.
[[nodiscard]] std::string ToText(const SeenEvent& event);

[[nodiscard]] Json ToJson(const SeenEvent& event);

}  // namespace zor::ctl
