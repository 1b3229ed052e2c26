/// Files in one file, as other programs read it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zor::ctl {

struct ZipEntry {
  std::string name;
  std::string contents;
};

/// A ZIP archive whose entries are stored as they are. Without the time, so that equal contents
/// give equal archives.
[[nodiscard]] std::vector<std::uint8_t> MakeZip(std::span<const ZipEntry> entries);

/// The checksum of an archive's entry.
[[nodiscard]] std::uint32_t Crc32(std::string_view bytes);

}  // namespace zor::ctl
