// Where a session's events are delivered, and that none of it can hold up an unload.
#include <atomic>
#include <string>
#include <thread>

#include "tests/session/session_test.h"

namespace zor::testing {
namespace {

using ::testing::ElementsAre;

ZorEvent ValueEvent(std::uint32_t value) {
  ZorEvent event{};
  event.type = 1;
  event.data.event1.value = value;
  return event;
}

class SessionEvents : public SessionTest {
 protected:
  /// What is told of the server when it is first seen is not of interest here.
  void OpenAndSkip() {
    Open();
    seen_ = options_.delivery == Delivery::kPoll ? session_->Poll() : log_.WaitFor(1).size();
  }

  std::vector<std::uint32_t> WaitForValues(std::size_t count) {
    std::vector<std::uint32_t> values;
    for (const SessionEvent& event : log_.WaitFor(seen_ + count)) {
      if (event.value) values.push_back(*event.value);
    }
    return values;
  }

  std::size_t seen_ = 0;
};

TEST_F(SessionEvents, ANotificationIsDeliveredOnTheWorker) {
  std::thread::id thread;
  options_.on_event = [&](const SessionEvent& event) {
    thread = std::this_thread::get_id();
    log_.Add(event);
  };
  OpenAndSkip();
  EXPECT_TRUE(machine_.Notify(ValueEvent(7)));
  EXPECT_THAT(WaitForValues(1), ElementsAre(7U));
  static_cast<void>(session_->GetInfo().get());
  EXPECT_EQ(thread, machine_.callers.back());
}

TEST_F(SessionEvents, AnEventOwnsItsText) {
  OpenAndSkip();
  {
    const std::string text = "a text that is gone when the event is looked at";
    ZorEvent event{};
    event.type = 4;
    event.data.event4.flag = true;
    event.data.event4.text = text.c_str();
    machine_.Notify(event);
  }
  const SessionEvent event = log_.WaitFor(2).back();
  EXPECT_EQ(event.kind, SessionEventKind::kNotification);
  EXPECT_EQ(event.type, 4U);
  EXPECT_EQ(event.flag, true);
  EXPECT_EQ(event.text, "a text that is gone when the event is looked at");
}

TEST_F(SessionEvents, PolledOnesAreDeliveredByWhoeverPolls) {
  std::promise<void> woken;
  options_.delivery = Delivery::kPoll;
  options_.wake = [&, first = true]() mutable {
    if (std::exchange(first, false)) woken.set_value();
  };
  std::thread::id thread;
  options_.on_event = [&](const SessionEvent& event) {
    thread = std::this_thread::get_id();
    log_.Add(event);
  };
  Open();
  EXPECT_EQ(woken.get_future().wait_for(kPatience), std::future_status::ready);
  machine_.Notify(ValueEvent(1));
  machine_.Notify(ValueEvent(2));
  EXPECT_EQ(log_.size(), 0U);
  EXPECT_EQ(session_->Poll(), 3U);
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_THAT(WaitForValues(3), ElementsAre(1U, 2U));
  EXPECT_EQ(session_->Poll(), 0U);
}

TEST_F(SessionEvents, DirectOnesAreDeliveredOnTheLibrarysThread) {
  std::thread::id thread;
  options_.delivery = Delivery::kDirect;
  options_.on_event = [&](const SessionEvent& event) {
    if (event.kind == SessionEventKind::kNotification) thread = std::this_thread::get_id();
  };
  Open();
  machine_.Notify(ValueEvent(1));  // this thread plays the library's
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(SessionEvents, TheOldestNotificationsAreDroppedAndTheServersEventsNever) {
  options_.delivery = Delivery::kPoll;
  options_.event_capacity = 3;
  Open();
  for (std::uint32_t i = 1; i <= 5; ++i) machine_.Notify(ValueEvent(i));
  EXPECT_EQ(session_->Poll(), 3U);
  EXPECT_THAT(WaitForValues(3), ElementsAre(4U, 5U));
  EXPECT_EQ(log_.WaitForKinds(3).front(), SessionEventKind::kServerFound);
  EXPECT_EQ(session_->dropped_events(), 3U);
}

TEST_F(SessionEvents, ACallbackMayCallOnTheWorker) {
  std::promise<std::uint32_t> words;
  machine_.answer = [](const FakeRequest&) { return FakeReply{.number = 77}; };
  options_.on_event = [&](const SessionEvent& event) {
    if (event.value) words.set_value(session_->GetInfo().get().info0);
  };
  Open();
  machine_.Notify(ValueEvent(1));
  auto got = words.get_future();
  ASSERT_EQ(got.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(got.get(), 77U);
}

TEST_F(SessionEvents, ACallOfACallbackHasItsDeadlineToo) {
  std::promise<std::error_code> error;
  options_.on_event = [&](const SessionEvent& event) {
    if (event.value) error.set_value(ErrorOf(session_->GetInfo(5ms)));
  };
  Open();
  machine_.Next(Fate::kUnanswered);
  machine_.Notify(ValueEvent(1));
  auto got = error.get_future();
  ASSERT_EQ(got.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(got.get(), SessionError::kTimedOut);
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
  EXPECT_EQ(session_->reloads(), 1U);
}

TEST_F(SessionEvents, NotificationsComeAgainAfterAReload) {
  OpenAndSkip();
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kUnanswered), SessionError::kTimedOut);
  static_cast<void>(session_->GetInfo().get());
  EXPECT_TRUE(machine_.Notify(ValueEvent(9)));
  EXPECT_THAT(WaitForValues(2), ElementsAre(9U));
}

TEST_F(SessionEvents, NoneComesAfterTheEnd) {
  OpenAndSkip();
  session_.reset();
  EXPECT_FALSE(machine_.Notify(ValueEvent(1)));
  EXPECT_EQ(log_.size(), 1U);
}

TEST_F(SessionEvents, ACallbackThatNeedsTheLoadersLockCannotMeetTheUnload) {
  // As that of a managed runtime, which loads something before its first line runs.
  std::promise<void> inside;
  std::promise<void> go_on;
  options_.delivery = Delivery::kDirect;
  options_.on_event = [&](const SessionEvent& event) {
    if (!event.value) return;
    inside.set_value();
    go_on.get_future().wait();
    EXPECT_TRUE(machine_.TryLoaderLock());
  };
  Open();
  std::thread library([this] { machine_.Notify(ValueEvent(1)); });
  inside.get_future().wait();
  std::thread closing([this] { session_.reset(); });
  // The unload is on its way now; were it to begin, it would hold the lock that the callback needs.
  std::this_thread::sleep_for(20ms);
  go_on.set_value();
  library.join();
  closing.join();
  EXPECT_FALSE(machine_.deadlocked);
}

TEST_F(SessionEvents, OpeningAndClosingUnderAFloodIsSafe) {
  std::atomic<bool> over{false};
  std::thread library([&] {
    while (!over) {
      if (!machine_.Notify(ValueEvent(1))) std::this_thread::yield();
    }
  });
  options_.limit = kPatience;
  for (int i = 0; i < 100; ++i) {
    options_.delivery = static_cast<Delivery>(i % 3);
    session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
    EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
    session_->Poll();
    session_.reset();
  }
  over = true;
  library.join();
  EXPECT_FALSE(machine_.deadlocked);
  EXPECT_GT(log_.size(), 0U);
}

}  // namespace
}  // namespace zor::testing
