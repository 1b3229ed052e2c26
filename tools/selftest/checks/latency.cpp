// What things cost here. The verdict is on what was done, never on how fast: the times are notes.
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

#include "tools/selftest/checks/checks.h"
#include "tools/selftest/clock.h"
#include "tools/selftest/library.h"
#include "tools/selftest/library_pipes.h"
#include "tools/selftest/pipe_pair.h"
#include "tools/selftest/server.h"

namespace zor::selftest {
namespace {

std::string Times(const char* what, std::vector<double> times) {
  if (times.empty()) return Text(what, ": none");
  std::ranges::sort(times);
  const auto at = [&](double part) {
    return static_cast<long>(
        times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))]);
  };
  return Text(what, ": median ", at(0.5), " us, 90 % within ", at(0.9), " us, longest ", at(1),
              " us");
}

std::string Calls(Notes& notes) {
  constexpr int kCalls = 2'000;
  const Server server(kRequestPipe, AnswerAll, 2);
  const UniqueHandle bare = Require(OpenAsTheLibraryDoes(kRequestPipe), "opening the request pipe");
  SetMessageMode(bare.get());
  const Library library;
  std::vector<double> bare_times;
  std::vector<double> call_times;
  int right = 0;
  for (int i = 0; i < kCalls; ++i) {
    const Stopwatch bare_watch;
    static_cast<void>(Peek(bare.get()));
    static_cast<void>(Write(bare.get(), 64));
    const Transfer reply = Read(bare.get(), 1'024);
    if (reply.ok) bare_times.push_back(bare_watch.Microseconds());

    std::uint32_t status = 0;
    const Stopwatch call_watch;
    // An answer that nobody takes would be the next one's.
    if (library->ZorIntfGetStatus(1, &status) != ZOR_SUCCESS || status != 5 || !reply.ok) break;
    call_times.push_back(call_watch.Microseconds());
    ++right;
  }
  notes.push_back(Times("peek, write and read", bare_times));
  notes.push_back(Times("a call", call_times));
  return Text(right, " of ", kCalls, " right");
}

std::string Loads(Notes& notes) {
  constexpr int kLoads = 200;
  std::vector<double> loads;
  std::vector<double> unloads;
  for (int i = 0; i < kLoads; ++i) {
    const Stopwatch load;
    Library library;
    loads.push_back(load.Microseconds());
    const Stopwatch unload;
    if (library.Unload()) unloads.push_back(unload.Microseconds());
  }
  notes.push_back(Times("a load", loads));
  notes.push_back(Times("an unload", unloads));
  return Text(unloads.size(), " of ", kLoads, " loaded and unloaded");
}

std::string Notifications(Notes& notes) {
  constexpr int kCount = 40;
  static const Event arrived;
  const Event wanted;
  const Server server(kNotifyPipe, [&](ServerEnd& end) {
    while (!end.IsStopped()) {
      if (!wanted.IsSetWithin(10)) continue;
      wanted.Reset();
      end.Write(Notification(1));
    }
  });
  const Library library;
  library->ZorIntfRegEventCallback([](ZorEvent*) { arrived.Set(); });
  server.AwaitConnections(1);
  std::vector<double> times;
  for (int i = 0; i < kCount; ++i) {
    arrived.Reset();
    const Stopwatch watch;
    wanted.Set();
    if (!arrived.IsSetWithin(kPatienceMs / 4)) break;
    times.push_back(watch.Microseconds());
  }
  notes.push_back(Times("from the server to the callback", times));
  return Text(times.size(), " of ", kCount, " arrive");
}

std::string Pause(Notes& notes) {
  constexpr int kPauses = 20;
  constexpr DWORD kPauseMs = 100;
  constexpr double kTickUs = 20'000;  // a pause may end that much early, by the system's clock
  std::vector<double> times;
  int long_enough = 0;
  for (int i = 0; i < kPauses; ++i) {
    const Stopwatch watch;
    Sleep(kPauseMs);
    times.push_back(watch.Microseconds());
    if (times.back() > kPauseMs * 1'000 - kTickUs) ++long_enough;
  }
  notes.push_back(Times("a pause of 100 ms", times));
  return Text(long_enough, " of ", kPauses, " last");
}

constexpr std::string_view kPage = "docs/performance.md";

constexpr std::array kChecks = {
    Check{"latency.calls", "Calls and the bare system calls beside them are all right.", kPage,
          "The baseline is the peek, write and read that the library must make anyway",
          "2000 of 2000 right", "", Calls},
    Check{"latency.loads", "Loading and unloading works each time.", kPage,
          "the load must start a thread, and the unload must wait",
          "200 of 200 loaded and unloaded", "", Loads},
    Check{"latency.notifications", "Each notification arrives.", "docs/threading.md",
          "a notification up to about 100 ms after the server has written it", "40 of 40 arrive",
          "", Notifications},
    Check{"latency.pause", "A pause of 100 ms lasts as long, but for a tick of the clock.",
          "docs/threading.md", "The system may round a sleep up", "20 of 20 last", "", Pause},
};

}  // namespace

std::span<const Check> LatencyChecks() { return kChecks; }

}  // namespace zor::selftest
