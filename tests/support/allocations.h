/// Counting what the product allocates, and letting it fail. Link zor_counting_allocations to the
/// program. Only `operator new` outside the scripted platform is meant.
#pragma once

#include <cstddef>

namespace zor::scripted {

/// How many times it has been called by now, by any thread.
[[nodiscard]] std::size_t AllocationCount() noexcept;

/// Blocks that are allocated now, and their bytes.
[[nodiscard]] std::size_t LiveBlocks() noexcept;
[[nodiscard]] std::size_t LiveBytes() noexcept;

/// Lets the `nth` allocation from now fail, on whatever thread; 0 takes that back.
void FailAllocation(std::size_t nth = 1) noexcept;

/// Whether the allocation that was to fail has failed.
[[nodiscard]] bool AllocationFailed() noexcept;

}  // namespace zor::scripted
