/// What this process holds: to see that an unload leaves nothing behind.
#pragma once

#include <windows.h>

#include <cstddef>
#include <ostream>
#include <set>

namespace zor::testing {

/// What can be left behind. Measured over the whole process.
struct Usage {
  int threads = 0;
  int handles = 0;
  std::size_t heap_bytes = 0;           ///< in blocks that are in use, over all heaps
  std::size_t address_space_bytes = 0;  ///< taken by images, heaps, stacks, everything

  [[nodiscard]] static Usage Now();

  /// No member is above the other's.
  [[nodiscard]] bool IsWithin(const Usage& limit) const;
};

std::ostream& operator<<(std::ostream& stream, const Usage& usage);

/// Measures until the process holds no more than `limit`, and returns the last measurement: when no
/// thread and no handle goes any more for `patience_ms`, the process keeps what it holds. An ending
/// thread of the system, and what belongs to it, may be there for a moment after what it ran has
/// been unloaded.
[[nodiscard]] Usage SettleWithin(const Usage& limit, DWORD patience_ms);

/// Handles of this process that are the client's end of a named pipe.
[[nodiscard]] std::set<HANDLE> ClientPipeEnds();

}  // namespace zor::testing
