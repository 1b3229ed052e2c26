/// Whole files, by their names in UTF-8.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zor::ctl {

/// The name that stands for standard input or output.
inline constexpr const char* kStandardStream = "-";

/// Throws std::runtime_error, which names the file.
[[nodiscard]] std::vector<std::uint8_t> ReadBytes(const std::string& file);

/// Replaces the file's contents. Throws std::runtime_error, which names the file.
void WriteBytes(const std::string& file, std::span<const std::uint8_t> bytes);

}  // namespace zor::ctl
