#include "tests/support/heap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/heap.h"
#include "tests/support/calls.h"

namespace zor::scripted {

Heap& TheHeap() {
  static Heap heap;
  return heap;
}

void Heap::Reset() {
  const std::lock_guard lock(mutex_);
  for (void* block : blocks_) std::free(block);
  blocks_.clear();
}

std::size_t Heap::BlockCount() const {
  const std::lock_guard lock(mutex_);
  return blocks_.size();
}

void* Heap::Allocate(std::size_t size) {
  if (TheCalls().Enter(Function::kHeapAllocate) || size > kLargestBlock) return nullptr;
  void* block = std::malloc(size);
  if (block != nullptr) std::memset(block, 0xCD, size);  // as little zero as anything can be
  const std::lock_guard lock(mutex_);
  blocks_.insert(block);
  return block;
}

void Heap::Free(void* block) {
  static_cast<void>(TheCalls().Enter(Function::kHeapFree));
  if (block == nullptr) return;
  const std::lock_guard lock(mutex_);
  if (blocks_.erase(block) == 0) {
    ADD_FAILURE() << "a block is freed that is not allocated";
    return;
  }
  std::free(block);
}

}  // namespace zor::scripted

namespace zor::platform {

void* HeapAllocate(std::size_t size) noexcept {
  const scripted::PlatformScope scope;
  return scripted::TheHeap().Allocate(size);
}

void* HeapAllocateZeroed(std::size_t count, std::size_t size) noexcept {
  void* block = HeapAllocate(count * size);
  return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}

void HeapFree(void* block) noexcept {
  const scripted::PlatformScope scope;
  scripted::TheHeap().Free(block);
}

}  // namespace zor::platform
