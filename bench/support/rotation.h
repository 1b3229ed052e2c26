/// Contenders that take turns, so that what changes on the machine meanwhile meets them all.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zor::bench {

struct Contender {
  std::string name;
  std::function<void()> run;  ///< what is timed; throws when it fails
};

struct Turns {
  int rounds = 5;
  int blocks = 6;      ///< of each contender in a round
  int repeats = 500;   ///< in a block
  int warm_ups = 500;  ///< of each contender, before the first round
};

/// Runs the contenders in blocks, in rotation; each block begins with another of them. Prints a
/// line for each contender and round: its name, the round and each duration in nanoseconds, with
/// tabs between them.
void RunInRotation(const std::vector<Contender>& contenders, const Turns& turns);

/// The number that follows `name` on the command line, or `fallback`.
[[nodiscard]] int Option(int argc, char** argv, const std::string& name, int fallback);

/// Runs `body`; says what it throws. What main() returns.
[[nodiscard]] int Guarded(const std::function<void()>& body);

}  // namespace zor::bench
