/// Records between pages that cannot be touched.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

#include "tests/integration/support/handle.h"

namespace zor::hostile {

/// Which of the two forbidden pages a record touches.
enum class Edge : std::uint8_t { kFront, kBack };

/// One page of memory between two forbidden ones. What of it is not given out has a pattern.
class GuardedPage {
 public:
  static constexpr std::size_t kSize = 4096;

  GuardedPage() : pages_(VirtualAlloc(nullptr, 3 * kSize, MEM_RESERVE, PAGE_NOACCESS)) {
    if (pages_ == nullptr || VirtualAlloc(Begin(), kSize, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
      testing::ThrowLastError("VirtualAlloc");
    }
    std::memset(Begin(), kPattern, kSize);
  }

  /// Where something of this size lies that touches the edge.
  [[nodiscard]] std::uint8_t* At(Edge edge, std::size_t size) const {
    return edge == Edge::kFront ? Begin() : Begin() + kSize - size;
  }

  [[nodiscard]] std::uint8_t* Begin() const {
    return static_cast<std::uint8_t*>(pages_.get()) + kSize;
  }

 private:
  static constexpr int kPattern = 0xA5;

  struct Releaser {
    void operator()(void* pages) const noexcept { VirtualFree(pages, 0, MEM_RELEASE); }
  };
  std::unique_ptr<void, Releaser> pages_;
};

/// A record alone in a guarded page.
template <typename T>
class Guarded {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  explicit Guarded(Edge edge) : offset_(page_.At(edge, sizeof(T)) - page_.Begin()) {}

  [[nodiscard]] T& operator*() const {
    return *std::launder(reinterpret_cast<T*>(page_.Begin() + offset_));
  }
  [[nodiscard]] T* operator->() const { return &**this; }

  /// What Untouched() and AloneTouched() compare with: the page as it is now.
  void Remember() { std::memcpy(remembered_.data(), page_.Begin(), GuardedPage::kSize); }
  void Restore() { std::memcpy(page_.Begin(), remembered_.data(), GuardedPage::kSize); }

  /// The whole page is as it was.
  [[nodiscard]] bool Untouched() const {
    return std::memcmp(remembered_.data(), page_.Begin(), GuardedPage::kSize) == 0;
  }
  /// At most the record has changed.
  [[nodiscard]] bool AloneTouched() const {
    const std::uint8_t* page = page_.Begin();
    const auto end = offset_ + static_cast<std::ptrdiff_t>(sizeof(T));
    return std::equal(page, page + offset_, remembered_.begin()) &&
           std::equal(page + end, page + GuardedPage::kSize, remembered_.begin() + end);
  }

 private:
  GuardedPage page_;
  std::ptrdiff_t offset_;
  std::array<std::uint8_t, GuardedPage::kSize> remembered_{};
};

/// A NUL-terminated text whose terminator is the last byte before a forbidden page.
class GuardedText {
 public:
  explicit GuardedText(std::string_view text)
      : text_(reinterpret_cast<char*>(page_.At(Edge::kBack, text.size() + 1))) {
    *std::ranges::copy(text, text_).out = '\0';
  }

  [[nodiscard]] char* get() const { return text_; }

 private:
  GuardedPage page_;
  char* text_;
};

}  // namespace zor::hostile
