/// What this process holds: to see that an unload leaves nothing behind.
#pragma once

#include <windows.h>

#include <cstddef>
#include <set>

namespace zor::testing {

[[nodiscard]] int CountThreads();
[[nodiscard]] int CountHandles();
/// Bytes in blocks that are in use, over all heaps of the process.
[[nodiscard]] std::size_t HeapBytes();
/// Bytes of address space that are taken: images, heaps, stacks, everything.
[[nodiscard]] std::size_t AddressSpaceBytes();

/// Handles of this process that are the client's end of a named pipe.
[[nodiscard]] std::set<HANDLE> ClientPipeEnds();

/// An ending thread of the system may still be seen for a moment after what it ran has been
/// unloaded. Waits until there are no more than this many; false when there still are.
[[nodiscard]] bool ThreadsFallTo(int count);
[[nodiscard]] bool HandlesFallTo(int count);

}  // namespace zor::testing
