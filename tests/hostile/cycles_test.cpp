// Loading and unloading, very often and at the worst moments: it comes to its end, really unloads,
// and leaves nothing behind.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/faults/tally.h"
#include "tests/hostile/support/log_hook.h"
#include "tests/hostile/support/mutations.h"
#include "tests/integration/support/cycles.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pausing_libraries.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ExpectNothingLeftBehind;
using testing::kPatienceMs;
using testing::LoadedLibrary;
using testing::PipeServer;
using testing::Unload;

int Cycles(std::size_t brief, std::size_t whole) { return static_cast<int>(Scaled(brief, whole)); }

/// Passes less than a sleep's shortest time.
void Spin(std::uint32_t turns) {
  for (std::uint32_t turn = 0; turn < turns; ++turn) YieldProcessor();
}

/// Notifications pour in from the moment that the library is connected: its listener, which would
/// otherwise soon find nothing and pause, looks for them when there are many.
class PouringServer {
 public:
  /// Before each load.
  void Expect() { pouring_.Reset(); }

 private:
  void Pour(testing::ServerEnd& end) {
    constexpr int kMany = 100;
    const Bytes message =
        testing::Build(testing::Notification{.type = 5, .value = 1, .text = "text"});
    for (int i = 0; i < kMany; ++i) {
      if (!end.Write(message)) return;
    }
    pouring_.Set();
    testing::Flood(end);
  }

  testing::Event pouring_;
  PipeServer server_{testing::kNotifyPipe, [this](testing::ServerEnd& end) { Pour(end); }, 4};
  LogHook hook_{kListening, [this] { static_cast<void>(pouring_.WaitMs(kPatienceMs)); }};
};

TEST(Cycles, WithoutAServer) {
  Random random(Seed());
  const int cycles = Cycles(60, 10'000);
  ExpectNothingLeftBehind(cycles, [&](int) {
    LoadedLibrary library;
    ASSERT_TRUE(random() % 2 == 0 || library->Start(1) == 2U);
    Spin(random() % 20'000);
    Unload(library);
  });
  Tally("loads and unloads without a server", static_cast<std::size_t>(cycles));
}

TEST(Cycles, WithAnIdleServer) {
  testing::PausingLibraries libraries(16);
  libraries.LoadAll();
  const int cycles = Cycles(60, 10'000);
  ExpectNothingLeftBehind(cycles, [&](int) { libraries.Cycle(); });
  Tally("loads and unloads with an idle server", static_cast<std::size_t>(cycles));
}

TEST(Cycles, WhileNotificationsPourIn) {
  static std::atomic<int> events;
  static testing::Event arrived;
  Random random(Seed());
  PouringServer server;
  const int cycles = Cycles(30, 10'000);
  ExpectNothingLeftBehind(cycles, [&](int) {
    server.Expect();
    arrived.Reset();
    LoadedLibrary library;
    library->RegEventCallback([](ZorEvent*) {
      ++events;
      arrived.Set();
    });
    // Now and then before the first has come.
    ASSERT_TRUE(random() % 4 == 0 || arrived.WaitMs(kPatienceMs));
    Spin(random() % 20'000);
    Unload(library);
    const int at_unload = events;
    std::this_thread::yield();
    ASSERT_EQ(events, at_unload);
  });
  Tally("loads and unloads while notifications pour in", static_cast<std::size_t>(cycles));
}

TEST(Cycles, DuringACallback) {
  static std::atomic<bool> ended;
  static std::atomic<std::uint32_t> turns;
  static testing::Event begun;
  Random random(Seed());
  PouringServer server;
  const int cycles = Cycles(30, 5000);
  ExpectNothingLeftBehind(cycles, [&](int) {
    server.Expect();
    begun.Reset();
    ended = false;
    turns = random() % 100'000;
    LoadedLibrary library;
    library->RegEventCallback([](ZorEvent*) {
      ended = false;
      begun.Set();
      Spin(turns);  // into the unload, which begins meanwhile
      ended = true;
    });
    ASSERT_TRUE(begun.WaitMs(kPatienceMs));
    Unload(library);
    ASSERT_TRUE(ended);
  });
  Tally("unloads during a callback", static_cast<std::size_t>(cycles));
}

TEST(Cycles, DuringACallbackThatMakesACall) {
  static const testing::Exports* exports;
  static std::atomic<std::uint32_t> wrong;
  static testing::Event begun;
  Random random(Seed());
  PouringServer server;
  PipeServer requests(testing::kRequestPipe, testing::AnswerAll, 4);
  const int cycles = Cycles(30, 5000);
  ExpectNothingLeftBehind(cycles, [&](int) {
    server.Expect();
    begun.Reset();
    LoadedLibrary library;
    exports = library.operator->();
    library->RegEventCallback([](ZorEvent*) {
      begun.Set();
      // Answered, or cut off by the unload; or all of the server's ends still have a client.
      std::uint32_t status = 99;
      const ZorResult result = exports->GetStatus(1, &status);
      if (result > 2 || (status != 99) != (result == 0)) ++wrong;
    });
    ASSERT_TRUE(begun.WaitMs(kPatienceMs));
    Spin(random() % 40'000);
    Unload(library);
    ASSERT_EQ(wrong, 0U);
  });
  Tally("unloads during a callback that makes a call", static_cast<std::size_t>(cycles));
}

/// Loads and unloads at the same time as other threads: the one library that all share, and now and
/// then one of its own.
void CycleBeside(std::uint32_t number, std::uint32_t seed, int cycles) {
  Random random(seed + number);
  const testing::LibraryCopy own(L"cycle-" + std::to_wstring(number) + L".dll");
  for (int i = 0; i < cycles; ++i) {
    const bool shared = random() % 4 != 0;
    LoadedLibrary library(shared ? testing::BuiltLibrary() : own.path());
    if (random() % 2 == 0) library->RegEventCallback([](ZorEvent* event) { Spin(event->type); });
    Spin(random() % 10'000);
    library.Unload();
    // The shared one the others may have still.
    ASSERT_TRUE(shared || GetModuleHandleW(own.path().c_str()) == nullptr);
  }
}

TEST(Cycles, OfSeveralThreads) {
  constexpr int kThreads = 4;
  const auto run = [seed = Seed()](int cycles) {
    std::vector<std::jthread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
      threads.emplace_back([=] { CycleBeside(number, seed, cycles); });
    }
  };
  const int cycles = Cycles(30, 2500);
  PipeServer server(testing::kNotifyPipe, testing::Flood, kThreads);
  OutputDebugStringA("warming up\n");
  run(testing::kWarmUpCycles);
  testing::Usage before = testing::SettleWithin(testing::Usage{}, 1000);
  before.handles += 2 * kThreads;  // the standard's threads leave some for the next ones
  run(cycles);
  testing::ExpectNoMoreThan(before);
  EXPECT_EQ(GetModuleHandleW(L"ZorInterface.dll"), nullptr);
  Tally("loads and unloads of four threads", static_cast<std::size_t>(kThreads * cycles));
}

}  // namespace
}  // namespace zor::hostile
