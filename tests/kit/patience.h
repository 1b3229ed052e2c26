/// How long a test waits while nothing moves.
#pragma once

#include <chrono>
#include <cstdlib>

namespace zor::testing {

/// A wait ends when what it waits for has come, or when nothing has moved for this long: it is no
/// time limit. The environment's ZOR_PATIENCE multiplies it, for a machine that is very busy.
inline const std::chrono::milliseconds kPatience = [] {
  constexpr std::chrono::milliseconds kUsual = std::chrono::seconds(30);
  const char* factor = std::getenv("ZOR_PATIENCE");
  const double given = factor == nullptr ? 0 : std::atof(factor);
  if (given <= 0) return kUsual;
  return std::chrono::duration_cast<std::chrono::milliseconds>(kUsual * given);
}();

/// Waits on `changed` until `arrived()` is at least `goal`, for as long as it grows. False when it
/// has ceased to.
template <typename Changed, typename Lock, typename Arrived>
[[nodiscard]] bool WaitWhileGrowing(Changed& changed, Lock& lock, Arrived arrived,
                                    decltype(arrived()) goal) {
  while (arrived() < goal) {
    const auto before = arrived();
    if (!changed.wait_for(lock, kPatience, [&] { return arrived() != before; })) return false;
  }
  return true;
}

}  // namespace zor::testing
