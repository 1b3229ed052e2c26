#include "tools/zorctl/doctor/pe_file.h"

#include <fmt/format.h>

#include <cstring>
#include <optional>
#include <type_traits>

namespace zor::ctl {
namespace {

// More than any file has: a damaged table ends here.
constexpr std::size_t kMostLibraries = 1024;
constexpr std::size_t kMostFunctions = 16384;
constexpr std::size_t kLongestName = 512;

constexpr std::size_t kSignatureSize = 4;
constexpr std::size_t kFileHeaderSize = 20;
constexpr std::size_t kSectionSize = 40;
constexpr std::uint16_t kPe32 = 0x10B;
constexpr std::uint16_t kPe32Plus = 0x20B;

enum Directory : std::size_t { kExportDirectory = 0, kImportDirectory = 1, kDelayDirectory = 13 };

class Image {
 public:
  explicit Image(std::span<const std::uint8_t> file) : file_(file), is_sound_(ReadHeaders()) {}

  [[nodiscard]] bool is_sound() const noexcept { return is_sound_; }
  [[nodiscard]] std::uint16_t machine() const noexcept { return machine_; }

  [[nodiscard]] bool IsTruncated() const {
    for (std::size_t i = 0; i < section_count_; ++i) {
      const std::size_t at = sections_ + i * kSectionSize;
      const auto size = Value<std::uint32_t>(at + 16);
      const auto begin = Value<std::uint32_t>(at + 20);
      if (!size || !begin) return true;
      if (*size != 0 && std::uint64_t{*begin} + *size > file_.size()) return true;
    }
    return false;
  }

  [[nodiscard]] std::vector<PeImport> Imports() const {
    std::vector<PeImport> imports;
    Collect(kImportDirectory, {.size = 20, .name = 12, .lookup = 0, .fallback = 16}, false,
            imports);
    Collect(kDelayDirectory, {.size = 32, .name = 4, .lookup = 16, .fallback = 16}, true, imports);
    return imports;
  }

  [[nodiscard]] std::vector<std::string> Exports() const {
    std::vector<std::string> names;
    const auto at = InDirectory(kExportDirectory);
    if (!at) return names;
    const auto count = Value<std::uint32_t>(*at + 24);
    const auto table = Value<std::uint32_t>(*at + 32);
    const auto names_at = table ? Offset(*table) : std::nullopt;
    if (!count || !names_at) return names;
    for (std::size_t i = 0; i < *count && i < kMostFunctions; ++i) {
      const auto name = Value<std::uint32_t>(*names_at + i * 4);
      if (!name) break;
      names.push_back(Text(*name));
    }
    return names;
  }

 private:
  /// Where an import table's entries have what.
  struct Layout {
    std::size_t size, name, lookup, fallback;
  };

  template <typename Number>
  [[nodiscard]] std::optional<Number> Value(std::size_t offset) const {
    if (offset > file_.size() || file_.size() - offset < sizeof(Number)) return std::nullopt;
    Number number{};
    std::memcpy(&number, file_.data() + offset, sizeof(Number));
    return number;
  }

  bool ReadHeaders() {
    constexpr std::uint16_t kMz = 0x5A4D;
    constexpr std::uint32_t kPe = 0x00004550;
    if (Value<std::uint16_t>(0) != kMz) return false;
    const auto start = Value<std::uint32_t>(60);
    if (!start || Value<std::uint32_t>(*start) != kPe) return false;
    const std::size_t header = *start + kSignatureSize;
    const auto made_for = Value<std::uint16_t>(header);
    const auto sections = Value<std::uint16_t>(header + 2);
    const auto optional_size = Value<std::uint16_t>(header + 16);
    const std::size_t optional_header = header + kFileHeaderSize;
    const auto magic = Value<std::uint16_t>(optional_header);
    if (!made_for || !sections || !optional_size || !magic) return false;
    if (*magic != kPe32 && *magic != kPe32Plus) return false;
    machine_ = *made_for;
    is_wide_ = *magic == kPe32Plus;
    directories_ = optional_header + (is_wide_ ? 112 : 96);
    sections_ = optional_header + *optional_size;
    section_count_ = *sections;
    return true;
  }

  /// Where in the file an address of the loaded image is.
  [[nodiscard]] std::optional<std::size_t> Offset(std::uint32_t address) const {
    for (std::size_t i = 0; i < section_count_; ++i) {
      const std::size_t at = sections_ + i * kSectionSize;
      const auto begin = Value<std::uint32_t>(at + 12);
      const auto size = Value<std::uint32_t>(at + 16);
      const auto raw = Value<std::uint32_t>(at + 20);
      if (!begin || !size || !raw) return std::nullopt;
      if (address >= *begin && address - *begin < *size) {
        return std::size_t{*raw} + (address - *begin);
      }
    }
    return std::nullopt;
  }

  [[nodiscard]] std::optional<std::size_t> InDirectory(Directory directory) const {
    const auto address = Value<std::uint32_t>(directories_ + directory * 8);
    if (!address || *address == 0) return std::nullopt;
    return Offset(*address);
  }

  [[nodiscard]] std::string Text(std::uint32_t address) const {
    std::string text;
    const auto offset = Offset(address);
    if (!offset) return text;
    for (std::size_t at = *offset; at < file_.size() && file_[at] != 0; ++at) {
      if (text.size() == kLongestName) break;
      text += static_cast<char>(file_[at]);
    }
    return text;
  }

  template <typename Thunk>
  void Functions(std::size_t at, PeImport& import) const {
    constexpr Thunk kByNumber = Thunk{1} << (sizeof(Thunk) * 8 - 1);
    for (std::size_t i = 0; i < kMostFunctions; ++i) {
      const auto thunk = Value<Thunk>(at + i * sizeof(Thunk));
      if (!thunk || *thunk == 0) return;
      if ((*thunk & kByNumber) != 0) continue;
      // Behind a hint of two bytes.
      import.functions.push_back(Text(static_cast<std::uint32_t>(*thunk) + 2));
    }
  }

  void Collect(Directory directory, const Layout& layout, bool delayed,
               std::vector<PeImport>& imports) const {
    const auto table = InDirectory(directory);
    if (!table) return;
    for (std::size_t i = 0; i < kMostLibraries; ++i) {
      const std::size_t at = *table + i * layout.size;
      const auto name = Value<std::uint32_t>(at + layout.name);
      if (!name || *name == 0) return;
      PeImport& import = imports.emplace_back();
      import.library = Text(*name);
      import.delayed = delayed;
      auto lookup = Value<std::uint32_t>(at + layout.lookup);
      if (!lookup || *lookup == 0) lookup = Value<std::uint32_t>(at + layout.fallback);
      const auto functions = lookup ? Offset(*lookup) : std::nullopt;
      if (!functions) continue;
      if (is_wide_) {
        Functions<std::uint64_t>(*functions, import);
      } else {
        Functions<std::uint32_t>(*functions, import);
      }
    }
  }

  std::span<const std::uint8_t> file_;
  std::uint16_t machine_ = 0;
  bool is_wide_ = false;
  std::size_t directories_ = 0;
  std::size_t sections_ = 0;
  std::size_t section_count_ = 0;
  bool is_sound_;  ///< last: finding it out fills the others
};

}  // namespace

PeFile ReadPeFile(std::span<const std::uint8_t> file) {
  const Image image(file);
  if (!image.is_sound()) return {};
  return {.is_image = true,
          .is_truncated = image.IsTruncated(),
          .machine = image.machine(),
          .imports = image.Imports(),
          .exports = image.Exports()};
}

std::string MachineName(std::uint16_t machine) {
  switch (machine) {
    case kMachineX64:
      return "64-bit x86";
    case kMachineX86:
      return "32-bit x86";
    case kMachineArm64:
      return "64-bit ARM";
    default:
      return fmt::format("another processor (0x{:04X})", machine);
  }
}

}  // namespace zor::ctl
