// Very many numbered notifications: none lost, none twice, in order, and soon.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "tests/faults/tally.h"
#include "tests/hostile/support/progress.h"
#include "tests/integration/support/cycles.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::LoadedLibrary;
using testing::ServerEnd;
using testing::Usage;

/// How long the text of a notification is: messages of all lengths up to the longest that is taken.
std::size_t TextLength(std::uint32_t number) { return number * 2654435761U % 880; }

/// What the callback has seen of a sequence that starts with 0.
class Sequence {
 public:
  void OnEvent(const ZorEvent& event) {
    const auto expected = static_cast<std::uint32_t>(progress_.count());
    const bool right = event.type == 5 && event.data.event5.value == expected &&
                       std::strlen(event.data.event5.text) == TextLength(expected);
    if (!right && first_wrong_ == kNone) first_wrong_ = expected;
    progress_.Arrive();
  }

  [[nodiscard]] const Progress& progress() const { return progress_; }
  [[nodiscard]] bool IsRight() const { return first_wrong_ == kNone; }
  [[nodiscard]] std::uint32_t first_wrong() const { return first_wrong_; }

 private:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  Progress progress_;
  std::atomic<std::uint32_t> first_wrong_{kNone};
};

Sequence* current = nullptr;

testing::Bytes Numbered(std::uint32_t number) {
  const std::string text(TextLength(number), 'x');
  return testing::Build(testing::Notification{.type = 5, .value = number, .text = text});
}

struct Load {
  DWORD buffer_size;
  std::size_t brief;
  std::size_t whole;
};

void PrintTo(const Load& load, std::ostream* out) { *out << load.buffer_size << " bytes"; }

class Order : public ::testing::TestWithParam<Load> {};

TEST_P(Order, OfNotificationsIsKeptAcrossBurstsOfMoreThanThePipeHolds) {
  // The buffer is full for most of a burst; after it the listener has nothing to do for a while.
  constexpr std::uint32_t kBurst = 2000;
  const auto count = static_cast<std::uint32_t>(Scaled(GetParam().brief, GetParam().whole));
  Sequence sequence;
  current = &sequence;
  ServerEnd server(testing::kNotifyPipe, {.buffer_size = GetParam().buffer_size});
  const LoadedLibrary library;
  library->RegEventCallback([](ZorEvent* event) { current->OnEvent(*event); });
  ASSERT_TRUE(server.WaitForClient());

  auto send = [&, number = std::uint32_t{0}](std::uint32_t end) mutable {
    for (; number < end; ++number) ASSERT_TRUE(server.Write(Numbered(number)));
    ASSERT_TRUE(sequence.progress().WaitFor(number));
  };
  send(kBurst);
  const Usage before = Usage::Now();
  for (std::uint32_t end = 2 * kBurst; end <= count; end += kBurst) {
    send(end);
    if (HasFatalFailure()) return;  // not ASSERT_NO_FATAL_FAILURE, which costs a thread on Windows
    ASSERT_TRUE(sequence.IsRight()) << sequence.first_wrong();
  }
  testing::ExpectNoMoreThan(before);
  EXPECT_EQ(sequence.progress().count(), count);
  Tally("numbered notifications, in order and without a leak", count);
}

// A million in all. Of the small buffer there is only ever a message or two to find, and then a
// pause.
INSTANTIATE_TEST_SUITE_P(Buffers, Order,
                         ::testing::Values(Load{2048, 4000, 20'000}, Load{1U << 18, 6000, 980'000}),
                         [](const auto& load) { return std::to_string(load.param.buffer_size); });

TEST(Idle, EachNotificationComesWithinOnePauseOfTheListener) {
  // Measured in pauses of the same length that another thread makes meanwhile: a machine that is
  // slow is slow to both. Were it two pauses, the other thread would make twice as many.
  constexpr DWORD kPauseMs = 100;
  constexpr DWORD kIdleMs = 10;  // for the listener to come to rest
  const auto count = static_cast<std::uint32_t>(Scaled(10, 500));
  static testing::Event arrived;
  ServerEnd server(testing::kNotifyPipe);
  const LoadedLibrary library;
  library->RegEventCallback([](ZorEvent*) { arrived.Set(); });
  ASSERT_TRUE(server.WaitForClient());

  std::atomic<bool> over{false};
  std::atomic<std::uint32_t> pauses{0};
  std::jthread pausing([&] {
    for (; !over; ++pauses) Sleep(kPauseMs);
  });
  for (std::uint32_t i = 0; i < count; ++i) {
    Sleep(kIdleMs);
    EXPECT_TRUE(server.Write(Numbered(i)));
    EXPECT_TRUE(arrived.WaitMs(testing::kPatienceMs));
    arrived.Reset();
  }
  const std::uint32_t paused = pauses;
  over = true;
  EXPECT_LE(2 * paused, 3 * count);
  Tally("notifications within one pause of an idle listener", count);
}

}  // namespace
}  // namespace zor::hostile
