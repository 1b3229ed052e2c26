// Own work on Windows, by the clock: a candidate is a thousand calls.
#include "bench/own_work/calls.h"
#include "bench/support/rotation.h"

namespace {

template <typename Call>
zor::bench::Candidate Thousand(const std::string& name, Call call) {
  return {name, [call] {
            constexpr int kCalls = 1000;
            for (int i = 0; i < kCalls; ++i) call();
          }};
}

}  // namespace

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    zor::bench::Turns turns{.rounds = 5, .blocks = 4, .repeats = 10, .warm_ups = 10};
    turns.rounds = zor::bench::Option(argc, argv, "--rounds", turns.rounds);
    for (const zor::bench::OwnWork& work : zor::bench::OwnWorks()) {
      const std::string name = work.name;
      work.prepare();
      zor::bench::RunInRotation(
          {Thousand(name + "/library", work.library), Thousand(name + "/bare", work.bare)}, turns);
    }
  });
}
