/// Foreign text on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace zor::ctl {

/// Texts of a server, a driver or another process can hold anything, also what a terminal obeys.
/// This shows each character that is not printable as its number, "\x1B" or "\u009B", and each byte
/// that is not UTF-8 as "\xF6".
[[nodiscard]] std::string Printable(std::string_view utf8);

/// Escapes in JSON what the JSON library leaves as it is, but a terminal may obey.
[[nodiscard]] std::string PrintableJson(std::string_view json);

}  // namespace zor::ctl
