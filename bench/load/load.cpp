// How long libraries take to load and to unload.
//
//   bench_load.exe [--rounds N] [--rest-ms N] LIBRARY...
//
// With --rest-ms each library stays loaded for a while: the listener of one that has a listener has
// then begun, and the unload waits for its pass.
#include <windows.h>

#include <stdexcept>

#include "bench/support/clock.h"
#include "bench/support/rotation.h"
#include "tests/integration/support/handle.h"

namespace {

using zor::bench::Now;

void LoadAndUnload(const std::string& library, int rest_ms, zor::bench::Recorder& recorder) {
  const std::int64_t begin = Now();
  const HMODULE module = LoadLibraryA(library.c_str());
  const std::int64_t loaded = Now();
  if (module == nullptr) zor::testing::ThrowLastError(library.c_str());
  if (rest_ms > 0) Sleep(static_cast<DWORD>(rest_ms));
  const std::int64_t rested = Now();
  FreeLibrary(module);
  const std::int64_t unloaded = Now();
  if (GetModuleHandleA(library.c_str()) != nullptr) throw std::runtime_error("it stayed loaded");
  recorder.Add(library + "/load", loaded - begin);
  recorder.Add(library + "/unload", unloaded - rested);
  recorder.Add(library + "/both", loaded - begin + unloaded - rested);
}

}  // namespace

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    zor::bench::Turns turns{.rounds = 5, .blocks = 4, .repeats = 25, .warm_ups = 5};
    turns.rounds = zor::bench::Option(argc, argv, "--rounds", turns.rounds);
    turns.repeats = zor::bench::Option(argc, argv, "--repeats", turns.repeats);
    const int rest_ms = zor::bench::Option(argc, argv, "--rest-ms", 0);
    std::vector<std::string> libraries;
    for (int i = 1; i < argc; ++i) {
      const std::string argument = argv[i];
      if (argument.starts_with("--")) {
        ++i;
      } else {
        libraries.push_back(argument);
      }
    }
    zor::bench::RunInRotation(libraries.size(), turns,
                              [&](std::size_t which, int repeats, zor::bench::Recorder& recorder) {
                                for (int i = 0; i < repeats; ++i) {
                                  LoadAndUnload(libraries[which], rest_ms, recorder);
                                }
                              });
  });
}
