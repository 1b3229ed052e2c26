/// Numbers as they are written on a command line. None of it depends on the process's locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zor::ctl {

/// Decimal, or hexadecimal behind "0x"; the whole text, without a sign.
[[nodiscard]] std::optional<std::uint32_t> ParseUnsigned(std::string_view text);

/// Decimal with an optional exponent, "inf" or "nan", with a sign; the whole text. Nothing for what
/// a float cannot hold.
[[nodiscard]] std::optional<float> ParseFloat(std::string_view text);

/// Seconds with up to three decimals, in milliseconds.
[[nodiscard]] std::optional<std::uint32_t> ParseSeconds(std::string_view text);

}  // namespace zor::ctl
