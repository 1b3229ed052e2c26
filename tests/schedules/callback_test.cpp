// The callback is replaced at any moment of a delivery.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

constexpr std::uint32_t kEvents = 2;

/// The application replaces its callback while the server sends, and unloads when all has arrived.
class CallbackReplaced : public Application {
 public:
  explicit CallbackReplaced(ZorEventCallback second) : second_(second) {}

  void Begin(System& system) override {
    system.Listen(kNotifyPipe);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register(CallbackA);
      registered_ = true;
      system.scheduler().Sleep();
      Register(second_);
      begun_with_a_ = Begun('A');
      system.scheduler().WaitUntil(
          [this, &system] {
            return system.read_count(kNotifyPipe) == kEvents &&
                   (second_ == nullptr || deliveries.size() == kEvents);
          },
          "waits for the events");
      dll.Unload();
    });
    system.scheduler().Start("server", [this, &system] {
      system.scheduler().WaitUntil([this] { return registered_; }, "waits for the callback");
      system.WaitForClient(kNotifyPipe);
      for (std::uint32_t value = 1; value <= kEvents; ++value) {
        system.Send(kNotifyPipe, Message(value));
      }
    });
  }

  void Check(System& system) override {
    Scenario::Check(system);
    // From the replacement on the old callback is begun at most once: by a delivery that had it in
    // its hands already.
    EXPECT_LE(Begun('A'), begun_with_a_ + 1);
    EXPECT_TRUE(std::is_sorted(deliveries.begin(), deliveries.end(), ByCallback));
    std::vector<std::uint32_t> all{1, 2};
    if (second_ == nullptr) all.resize(deliveries.size());
    EXPECT_EQ(Values(), all);
  }

 private:
  static bool ByCallback(const Delivery& left, const Delivery& right) {
    return left.callback < right.callback;
  }

  [[nodiscard]] std::ptrdiff_t Begun(char callback) const {
    return std::count_if(deliveries.begin(), deliveries.end(),
                         [callback](const Delivery& one) { return one.callback == callback; });
  }

  ZorEventCallback second_;
  bool registered_ = false;
  std::ptrdiff_t begun_with_a_ = 0;
};

class ReplacedByB : public CallbackReplaced {
 public:
  ReplacedByB() : CallbackReplaced(CallbackB) {}
};

TEST(Callback, ReplacedDuringADeliveryLosesAndRepeatsNothing) { Explore(Make<ReplacedByB>()); }

TEST(Callback, ClearedDuringADeliveryIsCalledOnceMoreAtMost) {
  Explore(Make<CallbackReplaced>(nullptr));
}

}  // namespace
}  // namespace zor::schedules
