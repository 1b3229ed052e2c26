// Every way of a wrong notification, on the real notification pipe: what the callback is given.
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>

#include "tests/faults/tally.h"
#include "tests/hostile/support/expected_event.h"
#include "tests/hostile/support/mutations.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using faults::WholeCampaign;
using testing::LoadedLibrary;
using testing::ServerEnd;

/// Follows each message that is tried with one of its own, by which the callback knows what the
/// events in between belong to.
class Notifications : public ::testing::Test {
 protected:
  Notifications() {
    current_ = this;
    library_->RegEventCallback([](ZorEvent* event) { current_->OnEvent(Event::Of(*event)); });
    EXPECT_TRUE(server_.WaitForClient());
  }

  void Try(const Bytes& message) {
    {
      const std::lock_guard lock(mutex_);
      if (!wrong_.empty()) return;
      expected_.push_back(Expected(message));
      all_seen_.Reset();
    }
    ++tried_;
    ASSERT_TRUE(server_.Write(message));
    ASSERT_TRUE(server_.Write(testing::Build(testing::Notification{
        .type = 5, .value = static_cast<std::uint32_t>(tried_), .text = kMarker})));
  }

  /// Waits until all has been seen, for as long as more and more of it is. How many were tried.
  std::size_t Finish() {
    for (std::size_t before = tried_ + 1; before != Waiting() && Waiting() > 0;) {
      before = Waiting();
      static_cast<void>(all_seen_.WaitMs(testing::kPatienceMs));
    }
    EXPECT_EQ(Waiting(), 0U);
    library_.Unload();
    EXPECT_EQ(wrong_, "");
    return tried_;
  }

  /// Good notifications, one of each type and one of none that there is.
  [[nodiscard]] static std::vector<Bytes> GoodOnes() {
    std::vector<Bytes> good;
    for (std::uint8_t type = 0; type <= 5; ++type) {
      good.push_back(
          testing::Build(testing::Notification{.type = type, .value = 0x12345678, .text = "text"}));
    }
    good.push_back(testing::Build(testing::Notification{.type = 9, .member = std::uint8_t{0}}));
    return good;
  }

 private:
  // No message that is tried has it, however it is changed.
  static constexpr const char* kMarker = "marker";

  [[nodiscard]] std::size_t Waiting() {
    const std::lock_guard lock(mutex_);
    return expected_.size();
  }

  /// On the listener's thread.
  void OnEvent(const Event& event) {
    const std::lock_guard lock(mutex_);
    if (expected_.empty()) return Report("nothing", event);
    std::optional<Event>& expected = expected_.front();
    if (event.text != kMarker) {
      if (expected != event) Report("another", event);
      expected.reset();
      return;
    }
    if (expected) Report("an event", event);
    ++seen_;
    if (event.value != seen_) Report("marker " + std::to_string(seen_), event);
    expected_.pop_front();
    if (expected_.empty()) all_seen_.Set();
  }

  void Report(const std::string& expected, const Event& event) {
    std::ostringstream text;
    text << "message " << seen_ + 1 << ": expected " << expected << ", but " << event << '\n';
    wrong_ += text.str();
  }

  static inline Notifications* current_ = nullptr;

  std::mutex mutex_;
  std::deque<std::optional<Event>> expected_;
  std::string wrong_;
  std::size_t seen_ = 0;
  std::size_t tried_ = 0;
  testing::Event all_seen_;
  ServerEnd server_{testing::kNotifyPipe, {.buffer_size = 1U << 17}};
  LoadedLibrary library_;
};

TEST_F(Notifications, WithEachByteChanged) {
  const auto try_it = [this](const Bytes& message) { Try(message); };
  for (const Bytes& good : GoodOnes()) {
    Try(good);
    ForEachChangedByte(good, WholeCampaign(), try_it);
  }
  Tally("notifications with a byte changed", Finish());
}

TEST_F(Notifications, OfEachLength) {
  constexpr std::size_t kLimit = 1024;
  // After each that is too long the listener pauses: in the short form a few of them will do.
  const std::size_t longest = Scaled(kLimit + 3, 1100);
  const auto try_it = [this](const Bytes& message) { Try(message); };
  const std::vector<Bytes> good = GoodOnes();
  ForEachLength(good.back(), longest, 0, try_it);
  ForEachLength(good[5], kLimit, 0, try_it);
  ForEachLength({}, kLimit, 0xFF, try_it);
  if (WholeCampaign()) {
    for (const Bytes& message : good) {
      for (const std::uint8_t filler : Bytes{0x00, 0x01, 0x80, 0xFF}) {
        ForEachLength(message, kLimit, filler, try_it);
      }
    }
  }
  // A read takes the longest of them a part at a time. Not even a part that looks like a
  // notification is one.
  Try(Bytes(5000, 0xFF));
  Bytes hiding = good[5];
  hiding.insert(hiding.begin(), kLimit, 0xFF);
  Try(hiding);
  const std::string what = "notifications of each length from 0 to " + std::to_string(longest);
  Tally(what.c_str(), Finish());
}

TEST_F(Notifications, OfGarbage) {
  Random random(Seed());
  const std::size_t count = Scaled(300, 20'000);
  for (std::size_t i = 0; i < count; ++i) {
    Try(Garbage(random, 200));
    Try(Garbage(random, 1024));
    for (const Bytes& good : GoodOnes()) Try(Damaged(random, good));
  }
  Tally("notifications of garbage", Finish());
}

}  // namespace
}  // namespace zor::hostile
