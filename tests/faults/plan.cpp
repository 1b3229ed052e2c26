#include "tests/faults/plan.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace zor::faults {

std::string Describe(const Plan& plan) {
  std::ostringstream text;
  for (const auto& [step, error] : plan) text << "step " << step << " fails with " << error << "; ";
  return text.str();
}

std::span<const std::uint32_t> ErrorsOf(Function function) {
  // File not found, access denied, network path not found, all instances busy, a wait that ended.
  static constexpr std::array<std::uint32_t, 5> kOpen = {2, 5, 53, 121, 231};
  // Invalid handle, broken pipe, no process at the other end.
  static constexpr std::array<std::uint32_t, 3> kPipe = {6, 109, 233};
  // The same, bad pipe state, no data, more data, the operation was called off.
  static constexpr std::array<std::uint32_t, 7> kRead = {6, 109, 230, 232, 233, 234, 995};
  static constexpr std::array<std::uint32_t, 5> kWrite = {6, 109, 232, 233, 1450};
  static constexpr std::array<std::uint32_t, 3> kListing = {2, 3, 5};
  // Of COM: too late to set security (which is no failure there), access denied, out of memory.
  static constexpr std::array<std::uint32_t, 3> kCom = {0x80010119, 0x80070005, 0x8007000E};
  static constexpr std::array<std::uint32_t, 1> kOther = {8};
  switch (function) {
    case Function::kOpenPipe:
      return kOpen;
    case Function::kSetMessageReadMode:
    case Function::kPeekPipe:
    case Function::kPeekAvailable:
      return kPipe;
    case Function::kReadPipe:
      return kRead;
    case Function::kWritePipe:
      return kWrite;
    case Function::kOpenListing:
    case Function::kNextEntry:
      return kListing;
    case Function::kInitializeSecurity:
    case Function::kCreateLocator:
    case Function::kConnectServer:
    case Function::kSetProxyBlanket:
    case Function::kExecQuery:
    case Function::kReadProperty:
      return kCom;
    default:
      return kOther;
  }
}

bool SameSteps(const std::vector<Step>& left, const std::vector<Step>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const Step& one, const Step& other) {
                      return one.function == other.function && one.fault == other.fault;
                    });
}

std::string Describe(const std::vector<Step>& steps) {
  std::ostringstream text;
  for (const Step& step : steps) {
    text << static_cast<int>(step.function);
    if (step.fault) text << '!' << *step.fault;
    text << ' ';
  }
  return text.str();
}

std::optional<std::uint32_t> ExpectedSteps::Next(Function function) {
  const auto fault = plan_.find(steps_.size());
  steps_.push_back({function, {}});
  if (fault != plan_.end()) steps_.back().fault = fault->second;
  return steps_.back().fault;
}

void Inject(const Plan& plan) {
  static_cast<void>(scripted::TheCalls().TakeSteps());
  for (const auto& [step, error] : plan) scripted::TheCalls().FailStep(step, error);
}

}  // namespace zor::faults
