// Large blocks: ZorIntfSetSerialized beside a bare exchange of the same bytes.
//
//   bench_blocks.exe times            by size
//   bench_blocks.exe memory --size N  how much memory one call takes, at its highest
#include <windows.h>

#include <psapi.h>

#include <cstdio>
#include <stdexcept>

#include "bench/support/clock.h"
#include "bench/support/messages.h"
#include "bench/support/raw_pipe.h"
#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"

namespace zor::bench {
namespace {

char block_name[] = "preset";

Bytes SetRequest(const Bytes& block) {
  messages::Builder builder;
  const auto size = static_cast<std::uint32_t>(block.size());
  const auto param = messages::CreateBlobParamDirect(builder, block_name, size, &block);
  builder.Finish(messages::BuildRequest(
      builder, {.func_name = "ZorIntfSetSerialized", .handle = 5, .blob_param = param}));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

void Set(const testing::LoadedLibrary& library, Bytes& block) {
  const ZorBlob blob = {block_name, static_cast<std::uint32_t>(block.size()), block.data()};
  if (library->SetSerialized(5, &blob) != ZOR_SUCCESS) throw std::runtime_error("a call failed");
}

void Times(int rounds, const std::vector<int>& sizes) {
  const ServerProcess server(L"blocks");
  const testing::LoadedLibrary library;
  RawPipe pipe(testing::kRequestPipe);
  for (const int size : sizes) {
    Bytes block(static_cast<std::size_t>(size), 0x5A);
    const Bytes request = SetRequest(block);
    // About as long for each size, but for the largest.
    constexpr int kMostBytes = 1 << 22;
    const int repeats = std::clamp(kMostBytes / size, 1, 100);
    const std::string name = std::to_string(size);
    RunInRotation({{name + "/library", [&] { Set(library, block); }},
                   {name + "/bare",
                    [&] {
                      pipe.Peek();
                      pipe.Write(request);
                      pipe.Read();
                    }}},
                  {.rounds = rounds, .blocks = 2, .repeats = repeats, .warm_ups = 1});
  }
}

std::size_t HighestMemory() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof(counters);
  if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) == FALSE) {
    testing::ThrowLastError("GetProcessMemoryInfo");
  }
  return counters.PeakWorkingSetSize;
}

void Memory(int size) {
  const ServerProcess server(L"blocks");
  const testing::LoadedLibrary library;
  Bytes small(1);
  Set(library, small);
  Bytes block(static_cast<std::size_t>(size), 0x5A);
  const std::size_t before = HighestMemory();
  Set(library, block);
  std::printf("memory\t%d\t%zu\n", size, HighestMemory() - before);
}

}  // namespace
}  // namespace zor::bench

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    const std::string mode = argc > 1 ? argv[1] : "";
    constexpr int kKilo = 1 << 10;
    constexpr int kMega = 1 << 20;
    if (mode == "times") {
      zor::bench::Times(zor::bench::Option(argc, argv, "--rounds", 5),
                        {1, 16, 256, kKilo, 4 * kKilo, 16 * kKilo, 64 * kKilo, 256 * kKilo, kMega,
                         4 * kMega, 16 * kMega, 64 * kMega});
    } else if (mode == "memory") {
      zor::bench::Memory(zor::bench::Option(argc, argv, "--size", kMega));
    } else {
      throw std::runtime_error("usage: bench_blocks times|memory");
    }
  });
}
