// Own work on this machine, by Google Benchmark.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/own_work/calls.h"

namespace {

void Register(const char* name, const char* who, void (*prepare)(), void (*run)()) {
  benchmark::RegisterBenchmark((std::string(name) + "/" + who).c_str(),
                               [prepare, run](benchmark::State& state) {
                                 prepare();
                                 for ([[maybe_unused]] auto iteration : state) run();
                               });
}

}  // namespace

int main(int argc, char** argv) {
  for (const zor::bench::OwnWork& work : zor::bench::OwnWorks()) {
    Register(work.name, "library", work.prepare, work.library);
    Register(work.name, "bare", work.prepare, work.bare);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
