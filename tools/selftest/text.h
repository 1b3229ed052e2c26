/// Putting texts together.
#pragma once

#include <ios>
#include <sstream>
#include <string>

namespace zor::selftest {

template <typename... Parts>
[[nodiscard]] std::string Text(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  return text.str();
}

/// A number as the system's headers write it: eight digits of base 16.
[[nodiscard]] inline std::string Hex(unsigned long number) {
  std::ostringstream text;
  text.width(8);
  text.fill('0');
  text << std::hex << std::uppercase << number;
  return text.str();
}

}  // namespace zor::selftest
