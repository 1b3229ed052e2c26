#include "tests/kit/system.h"

#include <atomic>

#include "platform/heap.h"

namespace zor::testing {

unsigned long CurrentThread() noexcept {
  static std::atomic<unsigned long> last{0};
  thread_local const unsigned long number = ++last;
  return number;
}

void* Allocate(std::size_t size) noexcept { return platform::HeapAllocate(size); }

void Free(void* block) noexcept { platform::HeapFree(block); }

}  // namespace zor::testing
