// What the listener costs.
//
//   bench_notifications.exe flood     how fast it takes notifications that come without a pause
//   bench_notifications.exe latency   how long one that is sent to an idle listener is on its way
//   bench_notifications.exe idle      does nothing, for whoever measures from outside; with
//   --server 1
//                                     beside a server that sends nothing
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <optional>
#include <random>
#include <stdexcept>

#include "bench/support/clock.h"
#include "bench/support/messages.h"
#include "bench/support/raw_pipe.h"
#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "bench/support/signal.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"

namespace zor::bench {
namespace {

// --- a flood

/// How long a number of notifications takes, from the first to the last.
class Stretch {
 public:
  explicit Stretch(int count) : left_(count) {}

  /// True with the last; more may come.
  bool Count() noexcept {
    if (left_ == 0) return false;
    if (begin_ == 0) {
      begin_ = Now();
      return false;
    }
    if (--left_ > 0) return false;
    end_ = Now();
    return true;
  }
  [[nodiscard]] std::int64_t nanoseconds() const noexcept { return end_ - begin_; }

 private:
  int left_;
  std::int64_t begin_ = 0;
  std::int64_t end_ = 0;
};

// The callback has no argument of its own.
Stretch* stretch = nullptr;
const testing::Event* finished = nullptr;

void Take(ZorEvent* /*event*/) {
  if (stretch->Count()) finished->Set();
}

std::int64_t LibraryTakes(int count) {
  Stretch measured(count);
  const testing::Event end;
  stretch = &measured;
  finished = &end;
  const testing::LoadedLibrary library;
  library->RegEventCallback(Take);
  if (!end.WaitMs(testing::kPatienceMs)) throw std::runtime_error("no notifications came");
  return measured.nanoseconds();
}

/// What the listener does of system calls: asks whether the pipe is there and what waits, and reads
/// it. With a line to the debugger output each, as the library must write, or without.
std::int64_t BareTakes(int count, bool with_line) {
  RawPipe pipe(testing::kNotifyPipe);
  for (Stretch measured(count);;) {
    pipe.Peek();
    const DWORD available = pipe.Available();
    if (available == 0) continue;
    pipe.Read(std::min<DWORD>(available, RawPipe::kLimit));
    if (with_line) OutputDebugStringA("[zor] Recieve data from notify channel: ZorIntfNotify\n");
    if (measured.Count()) return measured.nanoseconds();
  }
}

void Flood(int rounds, int count) {
  const std::vector<std::pair<std::string, std::function<std::int64_t()>>> candidates = {
      {"bare A", [=] { return BareTakes(count, false); }},
      {"library", [=] { return LibraryTakes(count); }},
      {"bare B", [=] { return BareTakes(count, false); }},
      {"bare with line", [=] { return BareTakes(count, true); }},
  };
  std::printf("bytes\t0\t%zu\n", Notification().size());
  RunInRotation(candidates.size(), {.rounds = rounds, .blocks = 4, .repeats = 1, .warm_ups = 1},
                [&](std::size_t which, int /*repeats*/, Recorder& recorder) {
                  const ServerProcess server(L"flood");
                  recorder.Add(candidates[which].first, candidates[which].second() / count);
                });
}

// --- one at a time

std::atomic<std::int64_t> arrived{0};
HANDLE arrival = nullptr;

void Note(ZorEvent* /*event*/) {
  arrived = Now();
  SetEvent(arrival);
}

void Latency(int count) {
  constexpr DWORD kPollMs = 100;
  const ServerProcess server(L"signal");
  const Signal signal;
  const testing::UniqueHandle event =
      testing::Require(CreateEventW(nullptr, FALSE, FALSE, nullptr), "CreateEvent");
  arrival = event.get();
  const testing::LoadedLibrary library;
  library->RegEventCallback(Note);

  // At any moment of the listener's pause, the same ones in every run.
  std::minstd_rand random;
  std::uniform_int_distribution<DWORD> pause(kPollMs, 2 * kPollMs);
  Recorder recorder;
  for (int i = 0; i < count; ++i) {
    Sleep(pause(random));
    const std::int64_t sent = Now();
    signal.Give();
    if (WaitForSingleObject(event.get(), testing::kPatienceMs) != WAIT_OBJECT_0) {
      throw std::runtime_error("a notification did not come");
    }
    recorder.Add("latency", arrived - sent);
  }
  recorder.Print(0);
}

// --- nothing

void Idle(bool with_server) {
  std::optional<ServerProcess> server;
  if (with_server) server.emplace(L"signal");
  const testing::LoadedLibrary library;
  constexpr DWORD kSettleMs = 500;
  Sleep(kSettleMs);
  std::printf("ready\n");
  std::fflush(stdout);
  // Whoever started this ends it.
  Sleep(INFINITE);
}

}  // namespace
}  // namespace zor::bench

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    constexpr int kRounds = 5;
    constexpr int kNotifications = 2000;
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "flood") {
      zor::bench::Flood(zor::bench::Option(argc, argv, "--rounds", kRounds), kNotifications);
    } else if (mode == "latency") {
      zor::bench::Latency(zor::bench::Option(argc, argv, "--count", 60));
    } else if (mode == "idle") {
      zor::bench::Idle(zor::bench::Option(argc, argv, "--server", 0) != 0);
    } else {
      throw std::runtime_error("usage: bench_notifications flood|latency|idle");
    }
  });
}
