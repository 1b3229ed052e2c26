/// Time, for the benchmarks.
#pragma once

#include <windows.h>

#include <cstdint>

namespace zor::bench {

/// Nanoseconds since some moment. The system's counter ticks every 100 ns under Wine.
[[nodiscard]] inline std::int64_t Now() noexcept {
  static const std::int64_t frequency = [] {
    LARGE_INTEGER value;
    QueryPerformanceFrequency(&value);
    return value.QuadPart;
  }();
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  return ticks.QuadPart / frequency * kNanoseconds +
         ticks.QuadPart % frequency * kNanoseconds / frequency;
}

}  // namespace zor::bench
