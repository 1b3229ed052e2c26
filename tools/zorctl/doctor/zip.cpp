#include "tools/zorctl/doctor/zip.h"

#include <concepts>
#include <string_view>

namespace zor::ctl {
namespace {

constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::uint32_t kCentralHeader = 0x02014B50;
constexpr std::uint32_t kEnd = 0x06054B50;
constexpr std::uint16_t kVersion = 20;      // what a reader must know: 2.0
constexpr std::uint16_t kUtf8 = 1U << 11U;  // of the names
constexpr std::uint16_t kFirstOfJanuary1980 = 1U << 5U | 1U;

class Writer {
 public:
  template <std::unsigned_integral Number>
  void Put(Number number) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
      bytes_.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    }
  }
  void Put(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  /// What the header of a file and its entry in the directory have in common.
  void PutDescription(const ZipEntry& entry) {
    const auto length = static_cast<std::uint32_t>(entry.contents.size());
    Put(kVersion);
    Put(kUtf8);
    Put(std::uint16_t{0});  // stored
    Put(std::uint16_t{0});  // midnight
    Put(kFirstOfJanuary1980);
    Put(Crc32(entry.contents));
    Put(length);  // stored
    Put(length);  // unpacked
    Put(static_cast<std::uint16_t>(entry.name.size()));
    Put(std::uint16_t{0});  // nothing extra
  }

  [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }
  [[nodiscard]] std::vector<std::uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

std::uint32_t Crc32(std::string_view bytes) {
  constexpr std::uint32_t kPolynomial = 0xEDB88320;
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? kPolynomial : 0);
  }
  return ~crc;
}

std::vector<std::uint8_t> MakeZip(std::span<const ZipEntry> entries) {
  Writer writer;
  std::vector<std::uint32_t> offsets;
  for (const ZipEntry& entry : entries) {
    offsets.push_back(writer.size());
    writer.Put(kLocalHeader);
    writer.PutDescription(entry);
    writer.Put(entry.name);
    writer.Put(entry.contents);
  }
  const std::uint32_t directory = writer.size();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    writer.Put(kCentralHeader);
    writer.Put(kVersion);
    writer.PutDescription(entries[i]);
    writer.Put(std::uint16_t{0});  // no comment
    writer.Put(std::uint16_t{0});  // on the first disk
    writer.Put(std::uint16_t{0});
    writer.Put(std::uint32_t{0});
    writer.Put(offsets[i]);
    writer.Put(entries[i].name);
  }
  const std::uint32_t end = writer.size();
  const auto count = static_cast<std::uint16_t>(entries.size());
  writer.Put(kEnd);
  writer.Put(std::uint16_t{0});
  writer.Put(std::uint16_t{0});
  writer.Put(count);
  writer.Put(count);
  writer.Put(end - directory);
  writer.Put(directory);
  writer.Put(std::uint16_t{0});
  return writer.Take();
}

}  // namespace zor::ctl
