/// Trying every fault: which steps of the platform fail in one run, and how.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tests/support/calls.h"

namespace zor::faults {

using scripted::Function;
using scripted::Step;

/// The errors by the numbers of the steps that meet them.
using Plan = std::map<std::size_t, std::uint32_t>;

/// For the messages of a failed test.
[[nodiscard]] std::string Describe(const Plan& plan);

/// What the system can answer when the function fails.
[[nodiscard]] std::span<const std::uint32_t> ErrorsOf(Function function);

[[nodiscard]] bool SameSteps(const std::vector<Step>& left, const std::vector<Step>& right);
[[nodiscard]] std::string Describe(const std::vector<Step>& steps);

/// Calls `run` with every plan of exactly `depth` faults; it returns the steps that were made.
/// Steps before `first` stay without faults. The number of runs with a fault.
template <typename Run>
std::size_t ForEachPlan(int depth, std::size_t first, const Run& run, const Plan& plan = {}) {
  const std::vector<Step> steps = run(plan);
  if (depth == 0) return 1;
  const std::size_t next = plan.empty() ? first : plan.rbegin()->first + 1;
  std::size_t runs = 0;
  for (std::size_t step = next; step < steps.size(); ++step) {
    for (const std::uint32_t error : ErrorsOf(steps[step].function)) {
      Plan further = plan;
      further[step] = error;
      runs += ForEachPlan(depth - 1, first, run, further);
    }
  }
  return runs;
}

/// What a model of the product expects: its steps in order, each with the fault that the plan has
/// for it.
class ExpectedSteps {
 public:
  explicit ExpectedSteps(const Plan& plan) : plan_(plan) {}

  /// The next step; the error that it meets.
  std::optional<std::uint32_t> Next(Function function);
  /// The same, for a model to which the error does not matter.
  bool Fails(Function function) { return Next(function).has_value(); }

  [[nodiscard]] const std::vector<Step>& steps() const { return steps_; }

 private:
  const Plan& plan_;
  std::vector<Step> steps_;
};

/// Puts the plan into the scripted platform: the next step is its step 0.
void Inject(const Plan& plan);

}  // namespace zor::faults
