#include "platform/heap.h"

#include <cstdlib>

namespace zor::platform {

// The heap itself: the one place where memory is managed by hand.
// NOLINTBEGIN(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
void* HeapAllocate(std::size_t size) noexcept { return std::malloc(size); }

void* HeapAllocateZeroed(std::size_t count, std::size_t size) noexcept {
  return std::calloc(count, size);
}

void HeapFree(void* block) noexcept { std::free(block); }
// NOLINTEND(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)

}  // namespace zor::platform
