#include "tests/support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/support/calls.h"

namespace zor::scripted {
namespace {

std::atomic<std::size_t> count{0};
std::atomic<std::size_t> live_blocks{0};
std::atomic<std::size_t> live_bytes{0};
std::atomic<std::size_t> failing{0};  ///< the number of the allocation that fails
std::atomic<bool> failed{false};

/// In front of every block: whether it is the product's, and its size. Keeps the alignment.
struct alignas(std::max_align_t) Header {
  std::size_t size = 0;
  bool counted = false;
};

void* Allocate(std::size_t size) noexcept {
  const bool counted = !PlatformScope::Inside();
  if (counted && ++count == failing) {
    failed = true;
    return nullptr;
  }
  void* block = std::malloc(sizeof(Header) + size);
  if (block == nullptr) return nullptr;
  if (counted) {
    ++live_blocks;
    live_bytes += size;
  }
  return new (block) Header{size, counted} + 1;
}

void Free(void* memory) noexcept {
  if (memory == nullptr) return;
  Header* header = static_cast<Header*>(memory) - 1;
  if (header->counted) {
    --live_blocks;
    live_bytes -= header->size;
  }
  std::free(header);
}

void* AllocateOrThrow(std::size_t size) {
  if (void* block = Allocate(size)) return block;
  throw std::bad_alloc();
}

}  // namespace

std::size_t AllocationCount() noexcept { return count; }

std::size_t LiveBlocks() noexcept { return live_blocks; }

std::size_t LiveBytes() noexcept { return live_bytes; }

void FailAllocation(std::size_t nth) noexcept {
  failed = false;
  failing = nth == 0 ? 0 : count + nth;
}

bool AllocationFailed() noexcept { return failed; }

}  // namespace zor::scripted

// All forms but the over-aligned ones, which nothing here uses: a sanitizer brings its own for
// those that a program leaves out.
using zor::scripted::Allocate;
using zor::scripted::AllocateOrThrow;
using zor::scripted::Free;

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { Free(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { Free(block); }
