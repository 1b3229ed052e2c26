/// Waiting for very many things, each of which comes soon.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <iostream>

#include "tests/integration/support/handle.h"

namespace zor::hostile {

/// Counts what arrives. The system's own lock-free means only: the listener's thread arrives here.
class Progress {
 public:
  void Arrive() noexcept { ++count_; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// Waits until `goal` have arrived; gives up only when nothing arrives for a long time.
  [[nodiscard]] bool WaitFor(std::size_t goal) const {
    constexpr DWORD kLookEveryMs = 10;
    for (DWORD idle = 0; idle < testing::kPatienceMs; idle += kLookEveryMs) {
      const std::size_t before = count_;
      if (before >= goal) return true;
      Sleep(kLookEveryMs);
      if (count_ != before) idle = 0;
    }
    std::cerr << "waited for " << goal << "; " << count_ << " have arrived, and no more for "
              << testing::kPatienceMs << " ms\n";
    return false;
  }

 private:
  std::atomic<std::size_t> count_{0};
};

}  // namespace zor::hostile
