/// Counting what the product allocates. Link zor_counting_allocations to the program.
#pragma once

#include <cstddef>

namespace zor::scripted {

/// How many times `operator new` has been called by now, by any thread, outside the scripted
/// platform.
[[nodiscard]] std::size_t AllocationCount() noexcept;

}  // namespace zor::scripted
