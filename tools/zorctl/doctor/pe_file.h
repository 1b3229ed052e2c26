/// The header and the imports of a program or a library, read from the bytes of its file.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zor::ctl {

struct PeImport {
  std::string library;
  std::vector<std::string> functions = {};  ///< by name; those by number are left out
  bool delayed = false;                     ///< loaded when a function of it is first called
};

struct PeFile {
  bool is_image = false;  ///< else nothing else is known
  bool is_truncated = false;
  std::uint16_t machine = 0;
  std::vector<PeImport> imports = {};
  std::vector<std::string> exports = {};  ///< by name
};

inline constexpr std::uint16_t kMachineX64 = 0x8664;
inline constexpr std::uint16_t kMachineX86 = 0x014C;
inline constexpr std::uint16_t kMachineArm64 = 0xAA64;

/// Reads nothing outside the bytes, whatever they are. Of a file that is cut off, imports may be
/// missing.
[[nodiscard]] PeFile ReadPeFile(std::span<const std::uint8_t> file);

/// "64-bit x86"
[[nodiscard]] std::string MachineName(std::uint16_t machine);

}  // namespace zor::ctl
