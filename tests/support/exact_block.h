/// Bytes in a heap block of exactly their size, so that AddressSanitizer sees any read beyond them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

namespace zor::scripted {

class ExactBlock {
 public:
  explicit ExactBlock(std::span<const std::uint8_t> bytes)
      : size_(bytes.size()), block_(new std::uint8_t[bytes.size()]) {
    std::copy(bytes.begin(), bytes.end(), block_.get());
  }

  [[nodiscard]] std::span<std::uint8_t> bytes() const { return {block_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> block_;
};

/// Calls `check` with every message that differs from `message` in one byte, in an exact block.
template <typename Check>
void ForEachMutation(std::span<const std::uint8_t> message, Check check) {
  const ExactBlock block(message);
  for (std::uint8_t& byte : block.bytes()) {
    const std::uint8_t original = byte;
    for (int step = 1; step < 256; ++step) {
      byte = static_cast<std::uint8_t>(original + step);
      check(block.bytes());
    }
    byte = original;
  }
}

/// Calls `check` with every beginning of `message` that is shorter, in an exact block.
template <typename Check>
void ForEachTruncation(std::span<const std::uint8_t> message, Check check) {
  for (std::size_t size = 0; size < message.size(); ++size) {
    check(ExactBlock(message.first(size)).bytes());
  }
}

}  // namespace zor::scripted
