// The thread object's checks.
#include "transport/listener_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <system_error>

#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

class ThreadObject : public PlatformTest {
 protected:
  /// The condition that `action` throws; nothing when it does not throw.
  template <typename Action>
  static std::optional<std::errc> ConditionOf(Action action) {
    try {
      action();
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().category(), std::generic_category());
      return static_cast<std::errc>(error.code().value());
    }
    return std::nullopt;
  }

  static void CountUp(void* count) { ++*static_cast<std::atomic<int>*>(count); }

  std::atomic<int> count_{0};
};

TEST_F(ThreadObject, RunsItsRoutineOnceAndJoins) {
  ListenerThread thread(CountUp, &count_);
  EXPECT_EQ(ConditionOf([&] { thread.Join(); }), std::nullopt);
  EXPECT_EQ(count_, 1);
}

TEST_F(ThreadObject, ThatCannotBeStartedThrowsResourceUnavailable) {
  TheCalls().Fail(Function::kStartThread, 8);
  EXPECT_EQ(ConditionOf([&] { ListenerThread(CountUp, &count_).Join(); }),
            std::errc::resource_unavailable_try_again);
  EXPECT_EQ(count_, 0);
}

TEST_F(ThreadObject, JoinedTwiceThrowsInvalidArgument) {
  ListenerThread thread(CountUp, &count_);
  thread.Join();
  EXPECT_EQ(ConditionOf([&] { thread.Join(); }), std::errc::invalid_argument);
  EXPECT_EQ(TheCalls().Count(Function::kJoinThread), 1);
}

TEST_F(ThreadObject, JoinedFromItselfThrowsDeadlockAndCanStillBeJoined) {
  struct Shared {
    std::atomic<ListenerThread*> thread{nullptr};
    std::optional<std::errc> condition;
  } shared;
  ListenerThread thread(
      [](void* argument) {
        auto& mine = *static_cast<Shared*>(argument);
        while (mine.thread == nullptr) platform::Sleep(1);
        mine.condition = ConditionOf([&] { mine.thread.load()->Join(); });
      },
      &shared);
  shared.thread = &thread;
  while (TheThreads().RunToPause()) {
  }
  thread.Join();
  EXPECT_EQ(shared.condition, std::errc::resource_deadlock_would_occur);
}

TEST_F(ThreadObject, ThatCannotBeWaitedForThrowsNoSuchProcess) {
  ListenerThread thread(CountUp, &count_);
  TheCalls().Fail(Function::kJoinThread, 0);
  EXPECT_EQ(ConditionOf([&] { thread.Join(); }), std::errc::no_such_process);
  EXPECT_EQ(ConditionOf([&] { thread.Join(); }), std::errc::invalid_argument);
}

TEST_F(ThreadObject, ThatHasNotBegunIsCalledOffByTheJoin) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  ListenerThread thread(CountUp, &count_);
  thread.Join();
  EXPECT_EQ(count_, 0);
}

}  // namespace
}  // namespace zor::scripted
