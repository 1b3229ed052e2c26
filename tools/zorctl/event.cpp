#include "tools/zorctl/event.h"

#include <fmt/format.h>

#include <cstdlib>
#include <iterator>

#include "tools/zorctl/printable.h"

namespace zor::ctl {
namespace {

/// ISO 8601: the time of day alone would not do in a file.
std::string TimeStamp(const LocalTime& time) {
  const int offset = std::abs(time.offset_minutes);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}{}{:02}:{:02}", time.year,
                     time.month, time.day, time.hour, time.minute, time.second, time.millisecond,
                     time.offset_minutes < 0 ? '-' : '+', offset / 60, offset % 60);
}

}  // namespace

SeenEvent Copy(const Event& event, const LocalTime& time) {
  SeenEvent seen{.time = time, .type = event.type, .flag = event.flag, .value = event.value};
  if (event.text) seen.text = *event.text;
  return seen;
}

std::string ToText(const SeenEvent& event) {
  const LocalTime& time = event.time;
  std::string line = fmt::format("{:02}:{:02}:{:02}.{:03}  type {}", time.hour, time.minute,
                                 time.second, time.millisecond, event.type);
  auto out = std::back_inserter(line);
  if (event.flag) fmt::format_to(out, "  flag {}", *event.flag);
  if (event.value) fmt::format_to(out, "  value {}", *event.value);
  if (event.text) fmt::format_to(out, "  \"{}\"", Printable(*event.text));
  return line + '\n';
}

Json ToJson(const SeenEvent& event) {
  Json json;
  json["time"] = TimeStamp(event.time);
  json["type"] = event.type;
  if (event.flag) json["flag"] = *event.flag;
  if (event.value) json["value"] = *event.value;
  if (event.text) json["text"] = *event.text;
  return json;
}

}  // namespace zor::ctl
