/// Which fault, if any, befalls a request.
#pragma once

#include <string_view>
#include <vector>

#include "simulator/call_counter.h"
#include "simulator/scenario.h"

namespace zor::sim {

/// Walks through a scenario's faults, which must outlive it. Not safe for use by several threads at
/// once.
class FaultScript {
 public:
  explicit FaultScript(const std::vector<Fault>& faults);

  /// Counts a request that was read; returns its fault or null. Every matching fault counts it, the
  /// first one in the scenario's order that is due is the one that happens.
  [[nodiscard]] const Fault* OnRequest(std::string_view function);

  /// Whether the next request is to be dropped unread.
  [[nodiscard]] bool DropsNextUnread() const;

  /// Counts a request that was dropped unread: for the faults that match any request, its function
  /// being unknown.
  void OnUnread();

 private:
  struct Entry {
    const Fault* fault = nullptr;
    CallCounter counter;
  };

  std::vector<Entry> entries_;
};

}  // namespace zor::sim
