#include "tools/zorctl/doctor/step.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace zor::ctl {

using fmt::format;

std::string ToText(const VersionQuad& version) { return format("{}", fmt::join(version, ".")); }

std::string ToText(const std::vector<std::string>& names) {
  return names.empty() ? "none" : format("{}", fmt::join(names, ", "));
}

/// "error 5: Access denied".
std::string ToText(const SystemError& error) {
  return error.text.empty() ? format("error {}", error.number)
                            : format("error {}: {}", error.number, error.text);
}

std::string ToSeconds(std::uint32_t milliseconds) {
  return format("{:.1f} s", static_cast<double>(milliseconds) / 1000);
}

/// What a child process did instead of reporting: "did not end within 5.0 s", with `doing` for its
/// subject.
std::string ToText(const ProbeEnd& end, std::string_view doing) {
  switch (end.how) {
    case ProbeEnd::How::kTimedOut:
      return format("{} did not end within {}", doing, ToSeconds(end.limit_ms));
    case ProbeEnd::How::kNotStarted:
      return format("{}: the process for it could not be started (error {})", doing, end.status);
    default:
      break;
  }
  constexpr std::uint32_t kFirstException = 0x80000000;
  if (end.status >= kFirstException) {
    const char* const name = end.status == 0xC0000005   ? ", access violation"
                             : end.status == 0xC00000FD ? ", stack overflow"
                             : end.status == 0xC0000409 ? ", abort"
                             : end.status == 0x80000100 ? ", a function that is not there"
                                                        : "";
    return format("{} crashed (exception 0x{:08X}{})", doing, end.status, name);
  }
  return format("{} ended the process, with status {}", doing, end.status);
}

/// A child process that did not report: a fault, unless there was no time to start it.
Finding Unreported(const Step& step, const ProbeEnd& end, std::string_view doing, std::string wrong,
                   std::string advice) {
  if (end.how == ProbeEnd::How::kNoTime) {
    return step.Skipped(format("{}: no time was left for it", doing));
  }
  return step.Fault(ToText(end, doing), std::move(wrong), std::move(advice));
}

}  // namespace zor::ctl
