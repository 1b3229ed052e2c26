#include "tests/kit/system.h"

#include <windows.h>

#include <cstdlib>

namespace zor::testing {

unsigned long CurrentThread() noexcept { return GetCurrentThreadId(); }

void* Allocate(std::size_t size) noexcept { return std::malloc(size); }

void Free(void* block) noexcept { std::free(block); }

}  // namespace zor::testing
