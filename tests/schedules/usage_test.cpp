// The cases of tests/model/usage.pml with the library's own listener: the two must agree.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

enum class Callback { kNative, kManaged, kShim, kLateShim };
enum class Ending { kNothing, kClearAndWait, kCloseAndWait };

struct Case {
  Callback callback = {};
  Ending ending = {};
  bool can_deadlock = false;
};

void PrintTo(const Case& one, std::ostream* out) {
  static constexpr const char* kCallbacks[] = {"native", "managed", "shim", "late shim"};
  static constexpr const char* kEndings[] = {"nothing", "clear and wait", "close and wait"};
  *out << kCallbacks[static_cast<int>(one.callback)] << ", "
       << kEndings[static_cast<int>(one.ending)];
}

class Usage : public Application {
 public:
  explicit Usage(const Case& one) : case_(one) { self_ = this; }

  void Begin(System& system) override {
    system.Listen(kNotifyPipe);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register([](ZorEvent*) { self_->Call(); });
      system.WaitForClient(kNotifyPipe);
      system.Send(kNotifyPipe, Message(1));
      End(system.scheduler());
      dll.Unload();
    });
  }

 private:
  void End(Scheduler& scheduler) {
    if (case_.ending == Ending::kClearAndWait) {
      Register(nullptr);
      scheduler.WaitUntil([this] { return !running_; }, "waits until no callback runs");
    } else if (case_.ending == Ending::kCloseAndWait) {
      scheduler.Point("closes the shim");
      closed_ = true;
      scheduler.WaitUntil([this] { return inside_ == 0; }, "waits until nobody is in the shim");
      Register(nullptr);
    }
  }

  void Call() {
    Scheduler& scheduler = TheSystem().scheduler();
    switch (case_.callback) {
      case Callback::kNative:
        return Run(scheduler);
      case Callback::kManaged:
        return EnterManaged(scheduler);
      case Callback::kShim:
        scheduler.Point("enters the shim");
        ++inside_;
        scheduler.Point("looks whether the shim is closed");
        if (!closed_) EnterManaged(scheduler);
        --inside_;
        return;
      case Callback::kLateShim:
        scheduler.Point("looks whether the shim is closed");
        if (closed_) return;
        scheduler.Point("enters the shim");
        ++inside_;
        EnterManaged(scheduler);
        --inside_;
    }
  }

  /// The runtime loads something before the first line of the callback runs.
  void EnterManaged(Scheduler& scheduler) {
    { const LoaderLock lock; }
    Run(scheduler);
  }

  void Run(Scheduler& scheduler) {
    running_ = true;
    scheduler.Point("is in the callback");
    running_ = false;
  }

  static inline Usage* self_ = nullptr;
  Case case_;
  bool running_ = false;
  bool closed_ = false;
  int inside_ = 0;
};

class UsageOfACallback : public ::testing::TestWithParam<Case> {};

TEST_P(UsageOfACallback, DeadlocksAsTheModelSays) {
  const std::string deadlock = FindDeadlock(Make<Usage>(GetParam()));
  EXPECT_EQ(!deadlock.empty(), GetParam().can_deadlock) << deadlock;
}

INSTANTIATE_TEST_SUITE_P(Schedules, UsageOfACallback,
                         ::testing::Values(Case{Callback::kNative, Ending::kNothing, false},
                                           Case{Callback::kNative, Ending::kClearAndWait, false},
                                           Case{Callback::kManaged, Ending::kNothing, true},
                                           Case{Callback::kManaged, Ending::kClearAndWait, true},
                                           Case{Callback::kShim, Ending::kNothing, true},
                                           Case{Callback::kShim, Ending::kClearAndWait, true},
                                           Case{Callback::kShim, Ending::kCloseAndWait, false},
                                           Case{Callback::kLateShim, Ending::kCloseAndWait, true}));

}  // namespace
}  // namespace zor::schedules
