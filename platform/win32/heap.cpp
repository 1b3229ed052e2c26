#include "platform/heap.h"

#include <cstdlib>

namespace zor::platform {

void* HeapAllocate(std::size_t size) noexcept { return std::malloc(size); }

void HeapFree(void* block) noexcept { std::free(block); }

}  // namespace zor::platform
