/// Candidates that take turns, so that what changes on the machine meanwhile meets them all.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zor::bench {

/// Durations by name. Printed as a line for each name: the name, the round and each duration in
/// nanoseconds, with tabs between them.
class Recorder {
 public:
  void Add(const std::string& name, std::int64_t nanoseconds);
  /// Prints and forgets. Not in between: printing is a call to the system, too.
  void Print(int round);

 private:
  std::vector<std::pair<std::string, std::vector<std::int64_t>>> durations_;  ///< as they came
};

struct Candidate {
  std::string name;
  std::function<void()> run;  ///< what is timed; throws when it fails
};

struct Turns {
  int rounds = 5;
  int blocks = 6;      ///< of each candidate in a round
  int repeats = 500;   ///< in a block
  int warm_ups = 500;  ///< of each candidate, before the first round
};

/// Runs the candidates in blocks, in rotation: each block begins with another of them. Prints the
/// durations of each round.
void RunInRotation(const std::vector<Candidate>& candidates, const Turns& turns);

/// The same for any number of candidates whose block `run` makes: `run(which, repeats, recorder)`.
void RunInRotation(std::size_t candidates, const Turns& turns,
                   const std::function<void(std::size_t, int, Recorder&)>& run);

/// The number that follows `name` on the command line, or `fallback`.
[[nodiscard]] int Option(int argc, char** argv, const std::string& name, int fallback);

/// Runs `body`; says what it throws. What main() returns.
[[nodiscard]] int Guarded(const std::function<void()>& body);

}  // namespace zor::bench
