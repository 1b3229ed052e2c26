/// Measuring times.
#pragma once

#include <chrono>

namespace zor::selftest {

class Stopwatch {
 public:
  [[nodiscard]] double Microseconds() const {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start_)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace zor::selftest
