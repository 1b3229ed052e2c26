// Calls that break the rules: two at the same time, and one while the library is unloaded.
#include <gtest/gtest.h>

#include <memory>

#include "calls/instance_calls.h"
#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

/// A callback that makes a call while the application unloads.
class CallWhileUnloading : public Application {
 public:
  static inline int uses_after_close = 0;

  void Begin(System& system) override {
    system.AllowUseAfterClose(kRequestPipe);
    system.Listen(kNotifyPipe);
    system.Listen(kRequestPipe, StatusReply);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register(CallbackA);
      std::uint32_t status = 0;
      EXPECT_EQ(GetStatus(*dll.client().request, 7, status), ZOR_SUCCESS);
      system.WaitForClient(kNotifyPipe);
      system.Send(kNotifyPipe, Message(1));
      system.scheduler().WaitUntil([this] { return !deliveries.empty(); }, "waits for the event");
      dll.Unload();
    });
  }

  void Check(System& system) override {
    uses_after_close += system.uses_after_close();
    Scenario::Check(system);
    EXPECT_EQ(Values(), std::vector<std::uint32_t>{1});
  }

 private:
  void DuringTheCallback() override {
    std::uint32_t status = 0;
    const ZorResult result = GetStatus(*dll.client().request, 8, status);
    EXPECT_EQ(status, result == ZOR_SUCCESS ? 8U : 0U);
  }
};

TEST(Call, WhileUnloadingLeavesMemorySafeButTheHandleIsNot) {
  CallWhileUnloading::uses_after_close = 0;
  Explore(Make<CallWhileUnloading>());
  // Why it is forbidden: what the call writes can go to whoever has the number by then.
  EXPECT_GT(CallWhileUnloading::uses_after_close, 0);
}

/// Two threads that do not take turns, on a channel that is connected or is not yet.
class CallsAtOnce : public Application {
 public:
  explicit CallsAtOnce(bool connected) : connected_(connected) {}

  static inline int swapped = 0;
  static inline int lost_handles = 0;

  void Begin(System& system) override {
    system.Listen(kRequestPipe);
    channel_ = std::make_unique<PipeChannel>(kRequestPipe);
    if (connected_) static_cast<void>(ConnectToServer(*channel_));
    system.scheduler().Start("one", [this] { Call(1); });
    system.scheduler().Start("other", [this] { Call(2); });
    system.scheduler().Start("server", [this, &system] {
      while (system.Answer(kRequestPipe, StatusReply, [this] { return calls_ == 2; })) {
      }
    });
  }

  void Check(System& system) override {
    channel_.reset();
    EXPECT_EQ(system.shared_count(), 0U);
    EXPECT_LE(system.open_count(), connected_ ? 0 : 1);
    lost_handles += system.open_count();
  }

 private:
  void Call(std::uint32_t handle) {
    std::uint32_t status = 0;
    EXPECT_EQ(GetStatus(*channel_, handle, status), ZOR_SUCCESS);
    EXPECT_TRUE(status == 1 || status == 2) << status;
    if (status != handle) ++swapped;
    ++calls_;
  }

  bool connected_;
  int calls_ = 0;
  std::unique_ptr<PipeChannel> channel_;
};

TEST(Calls, AtOnceSwapRepliesAndLeaveMemorySafe) {
  CallsAtOnce::swapped = 0;
  Explore(Make<CallsAtOnce>(true));
  EXPECT_GT(CallsAtOnce::swapped, 0);
}

TEST(Calls, AtOnceBothConnectAndLoseOneHandleAtMost) {
  CallsAtOnce::lost_handles = 0;
  Explore(Make<CallsAtOnce>(false));
  EXPECT_GT(CallsAtOnce::lost_handles, 0);
}

}  // namespace
}  // namespace zor::schedules
