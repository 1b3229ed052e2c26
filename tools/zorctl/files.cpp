#include "tools/zorctl/files.h"

#include <fmt/core.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "discovery/text.h"
#include "tools/zorctl/console.h"

namespace zor::ctl {

std::vector<std::uint8_t> ReadBytes(const std::string& file) {
  if (file == kStandardStream) return ReadInput();
  std::ifstream stream(std::filesystem::path(ToWide(file)), std::ios::binary);
  if (!stream) throw std::runtime_error(fmt::format("{}: the file cannot be opened", file));
  std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) throw std::runtime_error(fmt::format("{}: the file cannot be read", file));
  return bytes;
}

void WriteBytes(const std::string& file, std::span<const std::uint8_t> bytes) {
  if (file == kStandardStream) {
    PrintBytes(bytes);
    return;
  }
  std::ofstream stream(std::filesystem::path(ToWide(file)), std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) throw std::runtime_error(fmt::format("{}: the file cannot be written", file));
}

}  // namespace zor::ctl
