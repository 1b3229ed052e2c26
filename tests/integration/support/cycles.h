/// Loading and unloading often, and seeing that nothing stays behind.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/integration/support/handle.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/process_usage.h"

namespace zor::testing {

// The smallest block that could leak has 16 bytes with its header: a thousand of them are twice
// this. In address space the smallest leak is a page, or a stack; the system's own heaps grow in
// steps of some megabytes.
inline constexpr std::size_t kHeapTolerance = 8 * 1024;
inline constexpr std::size_t kAddressSpaceTolerance = 8 * 1024 * 1024;

[[nodiscard]] inline Usage LimitAfter(const Usage& before,
                                      std::size_t heap_tolerance = kHeapTolerance) {
  Usage limit = before;
  limit.heap_bytes += heap_tolerance;
  limit.address_space_bytes += kAddressSpaceTolerance;
  return limit;
}

/// Expects the process to hold no more than `before`, soon.
inline void ExpectNoMoreThan(const Usage& before, std::size_t heap_tolerance = kHeapTolerance) {
  const Usage limit = LimitAfter(before, heap_tolerance);
  const Usage after = SettleWithin(limit, kPatienceMs);
  EXPECT_TRUE(after.IsWithin(limit)) << "before: " << before << "\nafter: " << after;
}

/// Unloads and checks that it really did.
inline void Unload(LoadedLibrary& library) {
  const void* inside = library.Inside();
  library.Unload();
  ASSERT_TRUE(IsUnmapped(inside));
}

// What the first loads make the system keep for good is not the library's.
inline constexpr int kWarmUpCycles = 20;

/// Runs `cycle(i)` for i from 0 up, some times to warm up and then `cycles` times, and expects the
/// process to hold no more afterwards than in between.
template <typename Cycle>
void ExpectNothingLeftBehind(int cycles, Cycle cycle) {
  // With the first line the system opens two objects and keeps them; a listener that is unloaded at
  // once may write none for a long time.
  OutputDebugStringA("warming up\n");
  int i = 0;
  for (; i < kWarmUpCycles; ++i) cycle(i);
  // The warm-up's last thread may still be ending: what counts is the state without it.
  const Usage before = SettleWithin(Usage{}, 1000);
  for (; i < kWarmUpCycles + cycles; ++i) {
    cycle(i);
    if (::testing::Test::HasFatalFailure()) return;
  }
  ExpectNoMoreThan(before);
}

}  // namespace zor::testing
