/// What the kit needs of the system that a test runs on. Each of the two supports implements it.
#pragma once

#include <cstddef>

namespace zor::testing {

/// The calling thread's number; no other live thread has it.
[[nodiscard]] unsigned long CurrentThread() noexcept;

/// The application's malloc and free, of the heap that the library hands blocks out of.
[[nodiscard]] void* Allocate(std::size_t size) noexcept;
void Free(void* block) noexcept;

}  // namespace zor::testing
