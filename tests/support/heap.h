/// The scripted runtime heap: platform/heap.h, knowing every block.
///
/// A test that uses it fails when a block is freed that is not allocated.
#pragma once

#include <cstddef>
#include <mutex>
#include <set>

namespace zor::scripted {

class Heap {
 public:
  /// There is never more memory than this in one piece.
  static constexpr std::size_t kLargestBlock = std::size_t{1} << 20U;

  void Reset();

  /// Blocks that are allocated now.
  [[nodiscard]] std::size_t BlockCount() const;

  // The functions of platform/heap.h.

  [[nodiscard]] void* Allocate(std::size_t size);
  void Free(void* block);

 private:
  mutable std::mutex mutex_;
  std::set<void*> blocks_;
};

[[nodiscard]] Heap& TheHeap();

}  // namespace zor::scripted
