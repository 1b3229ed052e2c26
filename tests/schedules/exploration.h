/// All schedules of a run with at most a given number of forced switches, depth first.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zor::schedules {

class Exploration {
 public:
  /// Begins with the schedule that has no forced switch.
  explicit Exploration(int forced_switches);
  /// One schedule alone, by its name.
  explicit Exploration(const std::string& name);

  /// The next choice of the run; see Scheduler::Choose.
  [[nodiscard]] std::size_t Choose(std::size_t count, std::size_t unforced);

  /// Goes on to the next schedule; false when there is none. The run must begin anew.
  [[nodiscard]] bool Next();

  /// The schedule's name, from which it can be run again: "17:1,42:2" is the way numbered 1 at the
  /// choice numbered 17 and the way numbered 2 at the choice numbered 42, and the first way at all
  /// others. "-" is the first way everywhere.
  [[nodiscard]] std::string name() const;

 private:
  struct Choice {
    std::size_t count = 0;
    std::size_t unforced = 0;
    std::size_t taken = 0;
  };

  int forced_switches_;
  std::size_t position_ = 0;  ///< of the run's next choice
  std::vector<Choice> choices_;
};

}  // namespace zor::schedules
