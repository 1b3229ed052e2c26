/// What the fuzz targets share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>

namespace zor::fuzz {

/// Ends the run as a crash, with a word about what is wrong.
[[noreturn]] void Fail(const char* what);

inline void Require(bool condition, const char* what) {
  if (!condition) Fail(what);
}

/// A failure that the scripted platform reports ends the run, too. Call it before anything else.
void FailWithThePlatform();

/// Takes an input apart from its front. What is missing at its end is zero.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  [[nodiscard]] bool empty() const { return rest_.empty(); }

  std::uint8_t Byte() {
    const auto byte = Bytes(1);
    return byte.empty() ? std::uint8_t{0} : byte[0];
  }
  std::uint16_t Word() {
    const std::uint8_t low = Byte();
    return static_cast<std::uint16_t>(low | (Byte() << 8));
  }
  std::uint32_t Long() {
    const std::uint32_t low = Word();
    return low | (std::uint32_t{Word()} << 16);
  }

  /// At most so many bytes.
  std::span<const std::uint8_t> Bytes(std::size_t size) {
    const auto taken = rest_.first(std::min(size, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::string Text(std::size_t size) {
    const auto bytes = Bytes(size);
    return {bytes.begin(), bytes.end()};
  }
  std::span<const std::uint8_t> Rest() { return Bytes(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Bytes in a block of exactly their size, aligned to 8: a read beyond either end is seen. What is
/// left of the last word is put out of bounds.
class Block {
 public:
  explicit Block(std::span<const std::uint8_t> bytes)
      : words_(new std::uint64_t[(bytes.size() + 7) / 8]), size_(bytes.size()) {
    if (!bytes.empty()) std::memcpy(words_.get(), bytes.data(), bytes.size());
    Guard(true);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { Guard(false); }

  [[nodiscard]] std::span<std::uint8_t> bytes() const {
    return {reinterpret_cast<std::uint8_t*>(words_.get()), size_};
  }

 private:
  void Guard(bool on) const;

  std::unique_ptr<std::uint64_t[]> words_;
  std::size_t size_;
};

/// True when `text` and its terminator lie within `bytes`.
[[nodiscard]] bool IsTextIn(std::span<const std::uint8_t> bytes, const char* text);

}  // namespace zor::fuzz
