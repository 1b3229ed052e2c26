#include "simulator/fault_script.h"

#include <algorithm>
#include <variant>

namespace zor::sim {
namespace {

bool IsUnreadDrop(const Fault& fault) {
  const Drop* drop = std::get_if<Drop>(&fault.action);
  return drop != nullptr && *drop == Drop::kUnread;
}

}  // namespace

FaultScript::FaultScript(const std::vector<Fault>& faults) {
  for (const Fault& fault : faults) entries_.push_back({&fault, CallCounter(fault.match)});
}

const Fault* FaultScript::OnRequest(std::string_view function) {
  const Fault* happens = nullptr;
  for (Entry& entry : entries_) {
    const bool due = entry.counter.Count(function);
    if (due && happens == nullptr) happens = entry.fault;
  }
  return happens;
}

bool FaultScript::DropsNextUnread() const {
  return std::ranges::any_of(entries_, [](const Entry& entry) {
    return IsUnreadDrop(*entry.fault) && entry.counter.NextIsDue();
  });
}

void FaultScript::OnUnread() { static_cast<void>(OnRequest({})); }

}  // namespace zor::sim
