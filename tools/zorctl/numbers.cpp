#include "tools/zorctl/numbers.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace zor::ctl {
namespace {

constexpr double kMillisecondsPerSecond = 1000;

template <typename Number, typename Form>
std::optional<Number> ParseWhole(std::string_view text, Form form) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number, form);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::uint32_t> ParseUnsigned(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) {
    return ParseWhole<std::uint32_t>(text.substr(2), 16);
  }
  return ParseWhole<std::uint32_t>(text, 10);
}

std::optional<float> ParseFloat(std::string_view text) {
  // The standard conversion takes a minus sign, but no plus sign.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  return ParseWhole<float>(text, std::chars_format::general);
}

std::optional<std::uint32_t> ParseSeconds(std::string_view text) {
  const auto seconds = ParseWhole<double>(text, std::chars_format::fixed);
  if (!seconds || !std::isfinite(*seconds)) return std::nullopt;
  const double milliseconds = std::round(*seconds * kMillisecondsPerSecond);
  if (milliseconds < 1 || milliseconds >= std::numeric_limits<std::uint32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(milliseconds);
}

}  // namespace zor::ctl
