// What a call with a deadline costs beside a plain one: a session hands each call to its worker and
// the reply back. Not a part of ./dev bench: run bench_session by hand, pinned to one processor.
//
// Prints the durations of each candidate.
#include <memory>
#include <stdexcept>

#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "interface/zor_session.hpp"
#include "tests/integration/support/loaded_library.h"

namespace zor::bench {
namespace {

void Run(const Turns& turns) {
  const ServerProcess server(L"exchange");
  const testing::LibraryCopy copy(L"bench_session.dll");  // with a connection of its own
  const testing::LoadedLibrary library(copy.path());
  Session session;
  const auto plain = [&library] {
    ZorServerInfo info;
    if (library->GetInfo(&info) != ZOR_SUCCESS) throw std::runtime_error("a call failed");
  };
  RunInRotation({{"plain A", plain},
                 {"session", [&session] { static_cast<void>(session.GetInfo().get()); }},
                 {"plain B", plain}},
                turns);
}

}  // namespace
}  // namespace zor::bench

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    zor::bench::Turns turns;
    turns.rounds = zor::bench::Option(argc, argv, "--rounds", turns.rounds);
    turns.repeats = zor::bench::Option(argc, argv, "--repeats", turns.repeats);
    zor::bench::Run(turns);
  });
}
