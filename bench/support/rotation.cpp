#include "bench/support/rotation.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include "bench/support/clock.h"

namespace zor::bench {
void Recorder::Add(const std::string& name, std::int64_t nanoseconds) {
  auto known = std::ranges::find(durations_, name, [](const auto& one) { return one.first; });
  if (known == durations_.end()) known = durations_.insert(known, {name, {}});
  known->second.push_back(nanoseconds);
}

void Recorder::Print(int round) {
  for (const auto& [name, durations] : durations_) {
    std::printf("%s\t%d", name.c_str(), round);
    for (const std::int64_t duration : durations) {
      std::printf("\t%lld", static_cast<long long>(duration));
    }
    std::printf("\n");
  }
  std::fflush(stdout);
  durations_.clear();
}

void RunInRotation(std::size_t candidates, const Turns& turns,
                   const std::function<void(std::size_t, int, Recorder&)>& run) {
  Recorder ignored;
  for (std::size_t i = 0; i < candidates; ++i) run(i, turns.warm_ups, ignored);
  for (int round = 0; round < turns.rounds; ++round) {
    Recorder recorder;
    for (int block = 0; block < turns.blocks; ++block) {
      for (std::size_t turn = 0; turn < candidates; ++turn) {
        run((turn + static_cast<std::size_t>(block)) % candidates, turns.repeats, recorder);
      }
    }
    recorder.Print(round);
  }
}

void RunInRotation(const std::vector<Candidate>& candidates, const Turns& turns) {
  std::vector<std::int64_t> durations;
  RunInRotation(candidates.size(), turns, [&](std::size_t which, int repeats, Recorder& recorder) {
    durations.clear();
    for (int i = 0; i < repeats; ++i) {
      const std::int64_t begin = Now();
      candidates[which].run();
      durations.push_back(Now() - begin);
    }
    for (const std::int64_t one : durations) recorder.Add(candidates[which].name, one);
  });
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
