/// Bounds-checked access to FlatBuffers tables in bytes that nobody has verified.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace zor {

/// A table of a message, by its position. Fields are named by their vtable offset, as the generated
/// accessors do. Positions are 64 bits wide, so no sum of two 32-bit numbers can wrap.
class TableReader {
 public:
  using Message = std::span<const std::uint8_t>;

  /// The message's root table.
  [[nodiscard]] static std::optional<TableReader> Root(Message message) noexcept {
    const auto position = Follow(message, 0);
    if (!position) return std::nullopt;
    return TableReader(message, *position);
  }

  /// A scalar field: `fallback` when absent, nothing when it lies outside the message.
  template <typename T>
  [[nodiscard]] std::optional<T> Scalar(std::uint16_t field, T fallback = 0) const noexcept {
    const Slot slot = Find(field);
    if (!slot.ok) return std::nullopt;
    if (slot.position == 0) return fallback;
    return Read<T>(message_, slot.position);
  }

  /// A table field; nothing when it is absent or outside.
  [[nodiscard]] std::optional<TableReader> Table(std::uint16_t field) const noexcept {
    const auto position = Target(field);
    if (!position) return std::nullopt;
    return TableReader(message_, *position);
  }

  /// A string field's characters; null when it is absent, or not inside the message together with
  /// its terminator.
  [[nodiscard]] const char* String(std::uint16_t field) const noexcept {
    const auto position = Target(field);
    if (!position) return nullptr;
    const auto length = Read<std::uint32_t>(message_, *position);
    if (!length) return nullptr;
    const std::int64_t start = *position + std::int64_t{sizeof(std::uint32_t)};
    if (Read<char>(message_, start + *length) != '\0') return nullptr;
    return reinterpret_cast<const char*>(message_.data() + start);
  }

 private:
  /// Where a field's value is: 0 when the field is absent (no field of a table is at 0, where the
  /// root's offset is), not `ok` when the table itself is not to be trusted.
  struct Slot {
    bool ok = false;
    std::int64_t position = 0;
  };

  TableReader(Message message, std::int64_t position) noexcept
      : message_(message), position_(position) {}

  template <typename T>
  [[nodiscard]] static std::optional<T> Read(Message message, std::int64_t position) noexcept {
    const auto size = static_cast<std::int64_t>(message.size());
    if (position < 0 || position > size - std::int64_t{sizeof(T)}) return std::nullopt;
    T value;
    std::memcpy(&value, message.data() + position, sizeof(T));
    return value;
  }

  /// The target of the offset stored at `position`.
  [[nodiscard]] static std::optional<std::int64_t> Follow(Message message,
                                                          std::int64_t position) noexcept {
    const auto offset = Read<std::uint32_t>(message, position);
    if (!offset) return std::nullopt;
    return position + *offset;
  }

  [[nodiscard]] Slot Find(std::uint16_t field) const noexcept {
    const auto back = Read<std::int32_t>(message_, position_);
    if (!back) return {};
    const std::int64_t vtable = position_ - *back;
    const auto vtable_size = Read<std::uint16_t>(message_, vtable);
    if (!vtable_size) return {};
    if (field + sizeof(std::uint16_t) > *vtable_size) return {.ok = true};
    const auto offset = Read<std::uint16_t>(message_, vtable + field);
    if (!offset) return {};
    return {.ok = true, .position = *offset == 0 ? 0 : position_ + *offset};
  }

  [[nodiscard]] std::optional<std::int64_t> Target(std::uint16_t field) const noexcept {
    const Slot slot = Find(field);
    if (!slot.ok || slot.position == 0) return std::nullopt;
    return Follow(message_, slot.position);
  }

  Message message_;
  std::int64_t position_;
};

}  // namespace zor
