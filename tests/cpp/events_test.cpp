// The event callback: what it receives, and its replacement while an event is delivered.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "tests/cpp/client_test.h"
#include "tests/kit/patience.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;

constexpr std::uint32_t kIdle = 100;

class Events : public ListenerTest {
 protected:
  Events() {
    ThePipes().Listen(kNotifyPipe);
    Load();
    EXPECT_EQ(TheThreads().WaitForPause(), kIdle);
  }

  void TearDown() override {
    SetEventCallback({});
    ListenerTest::TearDown();
  }

  static void Send(const Notification& notification) {
    ThePipes().Send(kNotifyPipe, Build(notification));
  }

  /// Sends it and waits until it has been delivered.
  static void Deliver(const Notification& notification) {
    Send(notification);
    EXPECT_EQ(TheThreads().RunToPause(), kIdle);
  }
};

std::string Text(const Event& event) {
  std::string text = std::to_string(event.type);
  if (event.flag) text += *event.flag ? " true" : " false";
  if (event.value) text += " " + std::to_string(*event.value);
  if (event.text) text.append(" ").append(*event.text);
  return text;
}

TEST_F(Events, ThatAreOnTheirWayWhenTheCallbackGoesAreDropped) {
  int seen = 0;
  {
    const ScopedEventCallback callback([&](const Event& /*event*/) { ++seen; });
  }
  // The library has read the callback's address before it was taken away.
  ZorEvent late = {};
  detail::DeliverEvent(&late);
  EXPECT_EQ(seen, 0);
}

TEST_F(Events, HaveTheMembersOfTheirType) {
  std::vector<std::string> seen;
  const ScopedEventCallback callback([&](const Event& event) { seen.push_back(Text(event)); });
  Deliver({.type = 5, .value = 6, .text = "before"});  // leaves its members in the record
  Deliver({.type = 0, .value = 1});
  Deliver({.type = 1, .value = 11});
  Deliver({.type = 2, .value = 0});
  Deliver({.type = 3, .value = 33});
  Deliver({.type = 4, .value = 1, .text = "four"});
  Deliver({.type = 5, .value = 55, .text = "five"});
  Deliver({.type = 6});
  EXPECT_THAT(seen, ElementsAre("5 6 before", "0 true", "1 11", "2 false", "3 33", "4 true four",
                                "5 55 five", "6"));
}

TEST_F(Events, GoToTheCallbackThatWasSetLast) {
  std::vector<std::string> seen;
  SetEventCallback([&](const Event&) { seen.emplace_back("first"); });
  Deliver({});
  SetEventCallback([&](const Event&) { seen.emplace_back("second"); });
  Deliver({});
  SetEventCallback({});
  Deliver({});
  EXPECT_THAT(seen, ElementsAre("first", "second"));
}

TEST_F(Events, StopWithTheScope) {
  int count = 0;
  {
    const ScopedEventCallback callback([&](const Event&) { ++count; });
    Deliver({});
  }
  Deliver({});
  EXPECT_EQ(count, 1);
}

TEST_F(Events, ACallbackIsDestroyedWhenItHasBeenReplaced) {
  auto state = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = state;
  SetEventCallback([state = std::move(state)](const Event&) {});
  EXPECT_FALSE(watched.expired());
  SetEventCallback({});
  EXPECT_TRUE(watched.expired());
}

TEST_F(Events, ReplacingWaitsForADeliveryThatIsUnderWay) {
  std::promise<void> started;
  std::promise<void> replacing;
  std::promise<void> replaced;
  auto was_replaced = replaced.get_future();
  std::atomic<bool> returned_early = false;
  std::atomic<bool> finished = false;
  SetEventCallback([&](const Event&) {
    started.set_value();
    replacing.get_future().wait_for(testing::kPatience);
    // A replacement that does not wait returns now; one that does, not before this has.
    returned_early =
        was_replaced.wait_for(std::chrono::milliseconds(50)) == std::future_status::ready;
    finished = true;
  });
  Send({});
  TheThreads().EndPause();
  ASSERT_EQ(started.get_future().wait_for(testing::kPatience), std::future_status::ready);
  replacing.set_value();
  SetEventCallback({});
  EXPECT_TRUE(finished);
  replaced.set_value();
  EXPECT_FALSE(returned_early);
  EXPECT_EQ(TheThreads().WaitForPause(), kIdle);
}

TEST_F(Events, ACallbackMayReplaceItselfAndLivesUntilItReturns) {
  auto state = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = state;
  std::vector<std::string> seen;
  bool lived = false;
  SetEventCallback([&, state = std::move(state)](const Event&) {
    SetEventCallback([&](const Event&) { seen.emplace_back("second"); });
    lived = !watched.expired();
    seen.emplace_back("first");
  });
  Deliver({});
  EXPECT_TRUE(lived);
  EXPECT_TRUE(watched.expired());
  Deliver({});
  EXPECT_THAT(seen, ElementsAre("first", "second"));
}

TEST_F(Events, ACallbackMayMakeCalls) {
  std::mutex mutex;
  const Client client(mutex);
  ThePipes().Listen(kRequestPipe,
                    [](const Bytes&) { return std::vector<Bytes>{Build(Reply{.status = 3})}; });
  Instance instance(client, 5);
  std::uint32_t status = 0;
  const ScopedEventCallback callback([&](const Event&) { status = instance.GetStatus(); });
  Deliver({});
  EXPECT_EQ(status, 3U);
  instance.Destroy();
}

TEST_F(Events, MayPourInWhileTheirCallbackIsReplaced) {
  TheThreads().RunFreely();
  TheCalls().StopRecording();
  TheThreads().EndPause();
  constexpr int kRounds = 300;
  std::atomic<bool> stop = false;
  std::thread server([&] {
    while (!stop) {
      if (ThePipes().Waiting(kNotifyPipe) < 10) Send({.type = 5, .value = 1, .text = "text"});
      std::this_thread::yield();
    }
  });
  int delivered = 0;
  for (int round = 0; round < kRounds; ++round) {
    // Guarded by nothing but the callback's own promise: it does not run once it is replaced.
    std::vector<std::string> local;
    std::atomic<bool> any = false;
    const ScopedEventCallback callback([&](const Event& event) {
      local.push_back(Text(event));
      any = true;
    });
    if (round % 10 == 0) {
      while (!any) std::this_thread::yield();
    }
    SetEventCallback({});
    delivered += static_cast<int>(local.size());
  }
  EXPECT_GE(delivered, kRounds / 10);
  stop = true;
  server.join();
}

}  // namespace
}  // namespace zor::scripted
