// Loads and unloads over and over while a server sends, breaks and comes back, and callbacks run.
// Under ThreadSanitizer this shows that the listener shares nothing unguarded; on any build, that
// no handle is used after it was closed, closed twice or left behind.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using Random = std::minstd_rand;

class LoadUnloadStress : public PlatformTest {
 protected:
  LoadUnloadStress() {
    TheCalls().StopRecording();
    TheThreads().RunFreely();
    ThePipes().LetOthersTakeNumbers(true);
  }

  /// The server on both pipes, until `done`. It sends no empty message: one that is left in a pipe
  /// whose server has closed its end makes that pipe answer for ever.
  static void Serve(const std::atomic<bool>& done, Random::result_type seed) {
    const std::vector<Bytes> messages{
        Build(Notification{.type = 0, .value = 1}),
        Build(Notification{.type = 1, .value = 7}),
        Build(Notification{.type = 4, .value = 1, .text = "text"}),
        Build(Notification{.type = 5, .value = 1, .text = std::string(300, 't')}),
        Build(Notification{.type = 1, .func_name = "Other"}),
        Bytes(3000),
        Bytes(50, 0xFF),
    };
    Random random(seed);
    while (!done) {
      switch (random() % 16) {
        case 0:
          ThePipes().BreakConnections(kNotifyPipe);
          break;
        case 1:
          ThePipes().CloseConnections(kNotifyPipe);
          break;
        case 2:
          ThePipes().Remove(kNotifyPipe);
          std::this_thread::yield();
          ThePipes().Listen(kNotifyPipe);
          break;
        case 3:
          ThePipes().BreakConnections(kRequestPipe);
          break;
        default:
          ThePipes().Send(kNotifyPipe, messages[random() % messages.size()]);
      }
      std::this_thread::yield();
    }
  }

  static void Listen() {
    ThePipes().Listen(kNotifyPipe);
    ThePipes().Listen(kRequestPipe,
                      [](const Bytes&) { return std::vector<Bytes>{Build(Reply{})}; });
  }

  /// Takes a while, in which the listener gets somewhere. Work and not a pause or a yield, whose
  /// length would depend on what else the machine does.
  static void MakeCalls(Random::result_type times) {
    for (; times != 0; --times) static_cast<void>(ZorIntfStart(1));
  }
};

std::atomic<int> events{0};

void CountEvent(ZorEvent* event) {
  ++events;
  if (event->type == 4) {
    EXPECT_STREQ(event->data.event4.text, "text");
  }
  std::this_thread::yield();
}

TEST_F(LoadUnloadStress, WithAServerThatSendsBreaksAndRestarts) {
  constexpr int kCycles = 300;
  events = 0;
  Listen();
  std::atomic<bool> done{false};
  std::thread server(Serve, std::cref(done), 1);
  Random random(2);
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    const LoadedLibrary library;
    ZorIntfRegEventCallback(CountEvent);
    MakeCalls(random() % 20);
    if (cycle % 5 == 0) ZorIntfRegEventCallback(nullptr);
    MakeCalls(random() % 20);
    // One cycle in ten waits for an event, so that some are delivered for sure.
    if (cycle % 10 == 9) {
      ZorIntfRegEventCallback(CountEvent);
      for (const int seen = events; events == seen;) std::this_thread::yield();
    }
  }
  done = true;
  server.join();
  EXPECT_EQ(TheCalls().Count(Function::kStartThread), kCycles);
  EXPECT_EQ(TheCalls().Count(Function::kJoinThread), kCycles);
  EXPECT_GE(events, kCycles / 10);
  // What is left open did not answer when a reconnect overwrote it; all else is closed.
  EXPECT_GT(ThePipes().AbandonedCount(), 0);
  ExpectAbandoned(ThePipes().AbandonedCount());
}

TEST_F(LoadUnloadStress, WithoutAServer) {
  constexpr int kCycles = 500;
  Random random(3);
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    const LoadedLibrary library;
    MakeCalls(random() % 20);
  }
  EXPECT_EQ(TheCalls().Count(Function::kJoinThread), kCycles);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
}

TEST_F(LoadUnloadStress, AtOnceAfterLoading) {
  constexpr int kCycles = 500;
  Listen();
  for (int cycle = 0; cycle < kCycles; ++cycle) const LoadedLibrary library;
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), TheCalls().Count(Function::kClosePipe));
}

TEST_F(LoadUnloadStress, WhileEventsPourIn) {
  constexpr int kCycles = 50;
  events = 0;
  Listen();
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    const LoadedLibrary library;
    ZorIntfRegEventCallback(CountEvent);
    for (const int seen = events; events < seen + 3; std::this_thread::yield()) {
      for (int i = 0; i < 10; ++i) {
        ThePipes().Send(kNotifyPipe, Build(Notification{.type = 4, .value = 1, .text = "text"}));
      }
    }
  }
  EXPECT_GE(events, 3 * kCycles);
}

}  // namespace
}  // namespace zor::scripted
