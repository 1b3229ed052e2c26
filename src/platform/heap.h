/// The process-wide runtime heap: memory that passes between the library and the application.
#pragma once

#include <cstddef>

namespace zor::platform {

/// `malloc`: null when there is no memory, not null for a size of 0.
[[nodiscard]] void* HeapAllocate(std::size_t size) noexcept;

/// `calloc`: as above, `count` elements whose bytes are all zero. Memory that nobody has written to
/// is not used up until somebody does.
[[nodiscard]] void* HeapAllocateZeroed(std::size_t count, std::size_t size) noexcept;

/// `free`.
void HeapFree(void* block) noexcept;

}  // namespace zor::platform
