#include "tools/zorctl/printable.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace zor::ctl {
namespace {

struct Character {
  char32_t code = 0;
  std::size_t size = 0;  ///< in bytes; 0: the text does not begin with a character
};

Character FirstOf(std::string_view utf8) {
  constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<unsigned char>(utf8.front());
  if (first < 0x80) return {first, 1};
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC0 || first >= 0xF8 || utf8.size() < size) return {};
  char32_t code = first & (0x7FU >> size);
  for (const char c : utf8.substr(1, size - 1)) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0U) != 0x80) return {};
    code = code << 6U | (byte & 0x3FU);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  // What is written with more bytes than it needs may pass for something else.
  if (code < kSmallest.at(size) || code > 0x10FFFF || surrogate) return {};
  return {code, size};
}

bool IsControl(char32_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

/// Those that turn the direction of the text around them, and those that end a line.
bool IsLayout(char32_t code) {
  return code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

std::string Printable(std::string_view utf8) {
  std::string text;
  auto out = std::back_inserter(text);
  while (!utf8.empty()) {
    const auto [code, size] = FirstOf(utf8);
    if (size == 0) {
      fmt::format_to(out, "\\x{:02X}", static_cast<unsigned char>(utf8.front()));
    } else if (!IsControl(code) && !IsLayout(code)) {
      text += utf8.substr(0, size);
    } else if (size == 1) {
      fmt::format_to(out, "\\x{:02X}", static_cast<std::uint32_t>(code));
    } else {
      fmt::format_to(out, "\\u{:04X}", static_cast<std::uint32_t>(code));
    }
    utf8.remove_prefix(size == 0 ? 1 : size);
  }
  return text;
}

std::string PrintableJson(std::string_view json) {
  std::string text;
  while (!json.empty()) {
    const auto [code, size] = FirstOf(json);
    if (size == 0 || code == '\n' || !(IsControl(code) || IsLayout(code))) {
      text += json.substr(0, size == 0 ? 1 : size);
    } else {
      fmt::format_to(std::back_inserter(text), "\\u{:04x}", static_cast<std::uint32_t>(code));
    }
    json.remove_prefix(size == 0 ? 1 : size);
  }
  return text;
}

}  // namespace zor::ctl
