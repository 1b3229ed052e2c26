#include "tests/support/calls.h"

#include <utility>

namespace zor::scripted {

thread_local int PlatformScope::depth_ = 0;

bool CanFail(Function function) {
  switch (function) {
    case Function::kDisconnectPipe:
    case Function::kClosePipe:
    case Function::kFormat:
    case Function::kDebugOutput:
    case Function::kHeapFree:
    case Function::kSleep:
      return false;
    default:
      return true;
  }
}

void Calls::Reset() {
  const std::lock_guard lock(mutex_);
  recording_ = true;
  record_.clear();
  counts_.clear();
  faults_.clear();
  step_ = 0;
  step_faults_.clear();
  steps_.clear();
  hooks_.clear();
}

void Calls::FailStep(std::size_t number, std::uint32_t error) {
  const std::lock_guard lock(mutex_);
  step_faults_[step_ + number] = error;
}

std::vector<Step> Calls::TakeSteps() {
  const std::lock_guard lock(mutex_);
  return std::exchange(steps_, {});
}

std::vector<std::string> Calls::Take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(record_, {});
}

int Calls::Count(Function function) const {
  const std::lock_guard lock(mutex_);
  const auto count = counts_.find(function);
  return count == counts_.end() ? 0 : count->second;
}

void Calls::StopRecording() {
  const std::lock_guard lock(mutex_);
  recording_ = false;
}

void Calls::Fail(Function function, std::uint32_t error, int nth) {
  const std::lock_guard lock(mutex_);
  faults_[function][counts_[function] + nth] = error;
}

void Calls::Before(Function function, std::function<void()> hook) {
  const std::lock_guard lock(mutex_);
  hooks_[function] = std::move(hook);
}

std::optional<std::uint32_t> Calls::Enter(Function function) {
  std::optional<std::uint32_t> fault;
  std::function<void()> hook;
  {
    const std::lock_guard lock(mutex_);
    auto& faults = faults_[function];
    if (const auto found = faults.find(++counts_[function]); found != faults.end()) {
      fault = found->second;
      faults.erase(found);
    }
    if (CanFail(function)) {
      if (const auto found = step_faults_.find(step_++); found != step_faults_.end()) {
        fault = found->second;
        step_faults_.erase(found);
      }
      if (recording_) steps_.push_back({function, fault});
    }
    if (const auto found = hooks_.find(function); found != hooks_.end()) hook = found->second;
  }
  if (hook) hook();
  return fault;
}

bool Calls::Keeps(Function function) const {
  switch (function) {
    case Function::kFormattedLength:
    case Function::kFormat:
    case Function::kHeapAllocate:
    case Function::kHeapFree:
      return false;
    default:
      const std::lock_guard lock(mutex_);
      return recording_;
  }
}

void Calls::Append(std::string text) {
  const std::lock_guard lock(mutex_);
  record_.push_back(std::move(text));
}

Calls& TheCalls() {
  static Calls calls;
  return calls;
}

}  // namespace zor::scripted
