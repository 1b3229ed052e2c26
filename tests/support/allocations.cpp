#include "tests/support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/support/calls.h"

namespace zor::scripted {
namespace {

std::atomic<std::size_t> count{0};
std::atomic<std::size_t> failing{0};  ///< the number of the one that fails; 0 is none's

void* Allocate(std::size_t size) noexcept {
  if (!PlatformScope::Inside() && ++count == failing) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

std::size_t AllocationCount() noexcept { return count; }

void FailAllocation(std::size_t nth) noexcept { failing = count + nth; }

}  // namespace zor::scripted

// The program's own: all other forms of new and delete end in these.
void* operator new(std::size_t size) {
  if (void* block = zor::scripted::Allocate(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
