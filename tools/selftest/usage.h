/// What this process holds: to see that nothing stays behind.
#pragma once

#include <string>

namespace zor::selftest {

struct Usage {
  int threads = 0;
  int handles = 0;

  [[nodiscard]] static Usage Now();
  [[nodiscard]] bool IsWithin(const Usage& limit) const {
    return threads <= limit.threads && handles <= limit.handles;
  }
};

/// "0 handles and 0 threads more" than before, once ending threads of the system are gone; they may
/// be there for a moment longer.
[[nodiscard]] std::string GrowthSince(const Usage& before);

/// How many slots are free: all are taken, and given back.
[[nodiscard]] int FreeTlsSlots();
[[nodiscard]] int FreeFlsSlots();

}  // namespace zor::selftest
