/// Counting the calls that one fault or event waits for.
#pragma once

#include <cstdint>
#include <string_view>

#include "simulator/scenario.h"

namespace zor::sim {

/// Keeps the count of one CallMatch, which must outlive it.
class CallCounter {
 public:
  explicit CallCounter(const CallMatch& match) : match_(&match) {}

  /// Counts a request for `function` if it matches; true when it is one of those waited for.
  [[nodiscard]] bool Count(std::string_view function) {
    if (!match_->function.empty() && match_->function != function) return false;
    ++seen_;
    return IsDue(seen_);
  }

  /// Whether the next matching request would be one of those waited for.
  [[nodiscard]] bool NextIsDue() const { return IsDue(seen_ + 1); }

 private:
  [[nodiscard]] bool IsDue(std::uint64_t number) const {
    return number >= match_->nth && (match_->times == 0 || number - match_->nth < match_->times);
  }

  const CallMatch* match_;
  std::uint64_t seen_ = 0;
};

}  // namespace zor::sim
