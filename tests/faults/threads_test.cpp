// Applications of more than one thread: those that serialise their calls, as they must, and what
// becomes of those that do not.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "messages/reply.h"
#include "tests/faults/tally.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

#if defined(__SANITIZE_THREAD__)
#define ZOR_THREAD_SANITIZER 1
#else
#define ZOR_THREAD_SANITIZER 0
#endif

namespace zor::faults {
namespace {

using scripted::Function;
using scripted::TheCalls;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using testing::Build;
using testing::Bytes;
using testing::Notification;
using testing::Reply;

constexpr bool kThreadSanitizer = ZOR_THREAD_SANITIZER != 0;

/// A server that reports an instance's handle as its status.
void Serve() {
  ThePipes().Listen(kRequestPipe, [](const Bytes& request) {
    const auto* message = messages::CheckReply(request);
    return std::vector<Bytes>{Build(Reply{.status = static_cast<std::uint8_t>(message->handle())})};
  });
}

std::uint32_t StatusOf(std::uint32_t handle) {
  std::uint32_t status = 0;
  EXPECT_EQ(ZorIntfGetStatus(handle, &status), ZOR_SUCCESS);
  return status;
}

class TwoThreads : public scripted::ListenerTest {
 protected:
  void SetUp() override { Serve(); }

  /// Runs `work` with 1 and with 2 at the same time.
  template <typename Work>
  static void RunBoth(Work work) {
    std::thread first([&] { work(1U); });
    std::thread second([&] { work(2U); });
    first.join();
    second.join();
  }
};

TEST_F(TwoThreads, ThatSerialiseGetTheirOwnRepliesWhileNotificationsArrive) {
  static std::atomic<std::uint32_t> delivered{0};
  static std::atomic<bool> in_order{true};
  delivered = 0;
  in_order = true;
  const std::size_t calls = Scaled(2'000, 200'000);
  constexpr std::size_t kBacklog = 50;
  ThePipes().Listen(kNotifyPipe);
  TheCalls().StopRecording();
  TheThreads().RunFreely();
  Load();
  ZorIntfRegEventCallback([](ZorEvent* event) {
    if (event->data.event1.value != delivered++) in_order = false;
  });
  while (ThePipes().OpenCount() == 0) std::this_thread::yield();  // nothing is sent to nobody

  std::mutex mutex;
  std::uint32_t sent = 0;
  std::atomic<std::size_t> wrong{0};
  RunBoth([&](std::uint32_t handle) {
    for (std::size_t i = 0; i < calls; ++i) {
      const std::lock_guard lock(mutex);
      if (StatusOf(handle) != handle) ++wrong;
      ThePipes().Send(kNotifyPipe, Build(Notification{.type = 1, .value = sent++}));
      // As a pipe's buffer would make it wait.
      while (ThePipes().Waiting(kNotifyPipe) > kBacklog) std::this_thread::yield();
      if (i % 64 == 0) TheOutput().Reset();
    }
  });
  while (ThePipes().Waiting(kNotifyPipe) != 0) std::this_thread::yield();
  Unload();
  EXPECT_EQ(wrong, 0U);
  EXPECT_EQ(delivered, sent);
  EXPECT_TRUE(in_order);
  Tally("serialised calls of two threads", 2 * calls);
  Tally("notifications meanwhile", delivered);
}

/// Lets each thread go on only when both have come.
class Meeting {
 public:
  void Wait() {
    std::unique_lock lock(mutex_);
    if (++here_ == 2) both_.notify_all();
    both_.wait(lock, [this] { return here_ >= 2; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable both_;
  int here_ = 0;
};

class TwoThreadsThatDoNotSerialise : public TwoThreads {
 protected:
  void SetUp() override {
    // What is shown here is a misuse: what it does to memory is for the other builds to show.
    if (kThreadSanitizer) GTEST_SKIP() << "not serialised on purpose";
    TwoThreads::SetUp();
    TheThreads().SetBegin(scripted::Threads::Begin::kNever);
    Load();
  }
};

TEST_F(TwoThreadsThatDoNotSerialise, CanGetEachOthersReplies) {
  ASSERT_EQ(StatusOf(7), 7U);  // connects
  // The first to write is the last to read: the second call is made in between.
  std::mutex mutex;
  std::condition_variable changed;
  bool written = false;
  bool done = false;
  std::thread::id last;
  TheCalls().Before(Function::kReadPipe, [&] {
    std::unique_lock lock(mutex);
    if (std::this_thread::get_id() != last) return;
    written = true;
    changed.notify_all();
    changed.wait(lock, [&] { return done; });
  });
  std::array<std::uint32_t, 3> status{};
  std::thread first([&] {
    {
      const std::lock_guard lock(mutex);
      last = std::this_thread::get_id();
    }
    status[1] = StatusOf(1);
  });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return written; });
  }
  status[2] = StatusOf(2);
  {
    const std::lock_guard lock(mutex);
    done = true;
    changed.notify_all();
  }
  first.join();
  TheCalls().Before(Function::kReadPipe, {});
  EXPECT_EQ(status[1], 2U);
  EXPECT_EQ(status[2], 1U);
}

TEST_F(TwoThreadsThatDoNotSerialise, GetSomebodysReplyAndLeaveMemorySafe) {
  ASSERT_EQ(StatusOf(7), 7U);
  const std::size_t calls = Scaled(5'000, 500'000);
  TheCalls().StopRecording();
  std::atomic<std::size_t> swapped{0};
  RunBoth([&](std::uint32_t handle) {
    for (std::size_t i = 0; i < calls; ++i) {
      const std::uint32_t status = StatusOf(handle);
      EXPECT_TRUE(status == 1 || status == 2);
      if (status != handle) ++swapped;
    }
  });
  EXPECT_EQ(ThePipes().Waiting(kRequestPipe), 0U);
  Tally("calls of two threads that do not serialise", 2 * calls);
  Tally("replies swapped among them", swapped);
}

TEST_F(TwoThreadsThatDoNotSerialise, CanBothOpenThePipeAndLoseOneHandle) {
  Meeting meeting;
  TheCalls().Before(Function::kOpenPipe, [&] { meeting.Wait(); });
  RunBoth([](std::uint32_t handle) { EXPECT_NE(StatusOf(handle), 0U); });
  EXPECT_EQ(ThePipes().OpenCount(), 2);
  Unload();
  EXPECT_EQ(ThePipes().OpenCount(), 1);
  ThePipes().Reset();
}

}  // namespace
}  // namespace zor::faults
