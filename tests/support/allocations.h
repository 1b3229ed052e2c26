/// Counting what the product allocates, and refusing it. Link zor_counting_allocations to the
/// program.
#pragma once

#include <cstddef>

namespace zor::scripted {

/// How many times `operator new` has been called by now, by any thread, outside the scripted
/// platform.
[[nodiscard]] std::size_t AllocationCount() noexcept;

/// Lets the `nth` of these from now find no memory.
void FailAllocation(std::size_t nth = 1) noexcept;

}  // namespace zor::scripted
