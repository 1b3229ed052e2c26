#include "bench/support/rotation.h"

#include <cstdio>
#include <exception>

#include "bench/support/clock.h"

namespace zor::bench {
namespace {

using Durations = std::vector<std::int64_t>;

void RunBlock(const Contender& contender, int repeats, Durations& durations) {
  for (int i = 0; i < repeats; ++i) {
    const std::int64_t begin = Now();
    contender.run();
    durations.push_back(Now() - begin);
  }
}

void Print(const Contender& contender, int round, const Durations& durations) {
  std::printf("%s\t%d", contender.name.c_str(), round);
  for (const std::int64_t duration : durations) {
    std::printf("\t%lld", static_cast<long long>(duration));
  }
  std::printf("\n");
}

}  // namespace

void RunInRotation(const std::vector<Contender>& contenders, const Turns& turns) {
  for (const Contender& contender : contenders) {
    Durations ignored;
    RunBlock(contender, turns.warm_ups, ignored);
  }
  for (int round = 0; round < turns.rounds; ++round) {
    std::vector<Durations> durations(contenders.size());
    for (Durations& one : durations) {
      one.reserve(static_cast<std::size_t>(turns.blocks) * static_cast<std::size_t>(turns.repeats));
    }
    for (int block = 0; block < turns.blocks; ++block) {
      for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
        const std::size_t which = (turn + static_cast<std::size_t>(block)) % contenders.size();
        RunBlock(contenders[which], turns.repeats, durations[which]);
      }
    }
    // Not in between: printing is a call to the system, too.
    for (std::size_t i = 0; i < contenders.size(); ++i) Print(contenders[i], round, durations[i]);
  }
}

int Option(int argc, char** argv, const std::string& name, int fallback) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (name == argv[i]) return std::stoi(argv[i + 1]);
  }
  return fallback;
}

int Guarded(const std::function<void()>& body) {
  try {
    body();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

}  // namespace zor::bench
