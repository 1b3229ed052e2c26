// The server goes and comes back at any step of the listener or of a call.
#include <gtest/gtest.h>

#include <memory>

#include "calls/instance_calls.h"
#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

enum class Going { kCloses, kBreaks };

/// Sends an event, goes, comes back and sends another.
class NotifyServerGoneAndBack : public Application {
 public:
  explicit NotifyServerGoneAndBack(Going going) : going_(going) {}

  void Begin(System& system) override {
    system.Listen(kNotifyPipe);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register(CallbackA);
      registered_ = true;
      system.scheduler().WaitUntil(
          [this] { return !deliveries.empty() && deliveries.back().value == 2; },
          "waits for the last event");
      dll.Unload();
    });
    system.scheduler().Start("server", [this, &system] {
      system.scheduler().WaitUntil([this] { return registered_; }, "waits for the callback");
      system.WaitForClient(kNotifyPipe);
      system.Send(kNotifyPipe, Message(1));
      system.Remove(kNotifyPipe);
      if (going_ == Going::kCloses) system.Close(kNotifyPipe);
      if (going_ == Going::kBreaks) system.Break(kNotifyPipe);
      system.scheduler().Sleep();
      system.Listen(kNotifyPipe);
      system.WaitForClient(kNotifyPipe);
      system.Send(kNotifyPipe, Message(2));
    });
  }

  void Check(System& system) override {
    Scenario::Check(system);
    if (going_ == Going::kBreaks && deliveries.size() == 1) return;  // the first was lost with it
    EXPECT_EQ(Values(), (std::vector<std::uint32_t>{1, 2}));
  }

 private:
  Going going_;
  bool registered_ = false;
};

TEST(Server, GoneAndBackLosesNoEventThatCanBeRead) {
  Explore(Make<NotifyServerGoneAndBack>(Going::kCloses));
}

TEST(Server, BrokenAndBackLosesNoLaterEvent) {
  Explore(Make<NotifyServerGoneAndBack>(Going::kBreaks));
}

/// The application calls while the server goes and comes back, and once more when it is back.
class RequestServerGoneAndBack : public Application {
 public:
  explicit RequestServerGoneAndBack(Going going) : going_(going) {}

  void Begin(System& system) override {
    system.Listen(kRequestPipe);
    channel_ = std::make_unique<PipeChannel>(kRequestPipe);
    system.scheduler().Start("app", [this, &system] {
      for (std::uint32_t handle = 1; handle <= 2; ++handle) Call(handle, false);
      system.scheduler().WaitUntil([this] { return back_; }, "waits until the server is back");
      Call(3, true);
      done_ = true;
    });
    system.scheduler().Start("server", [this, &system] {
      const auto done = [this] { return done_; };
      static_cast<void>(system.Answer(kRequestPipe, StatusReply, done));
      system.Remove(kRequestPipe);
      if (going_ == Going::kCloses) system.Close(kRequestPipe);
      if (going_ == Going::kBreaks) system.Break(kRequestPipe);
      system.scheduler().Sleep();
      system.Listen(kRequestPipe);
      back_ = true;
      while (system.Answer(kRequestPipe, StatusReply, done)) {
      }
    });
  }

  void Check(System& system) override {
    channel_.reset();
    Scenario::Check(system);
  }

 private:
  void Call(std::uint32_t handle, bool must_succeed) {
    std::uint32_t status = 0;
    const ZorResult result = GetStatus(*channel_, handle, status);
    if (result == ZOR_SUCCESS) {
      EXPECT_EQ(status, handle);
    } else {
      EXPECT_FALSE(must_succeed);
      EXPECT_TRUE(result == ZOR_TRANSPORT_FAILURE || result == ZOR_NOT_CONNECTED);
      EXPECT_EQ(status, 0U);
    }
  }

  Going going_;
  bool back_ = false;
  bool done_ = false;
  std::unique_ptr<PipeChannel> channel_;
};

TEST(Server, GoneAndBackAtAnyStepOfACallAnswersTheNext) {
  Explore(Make<RequestServerGoneAndBack>(Going::kCloses));
}

TEST(Server, BrokenAndBackAtAnyStepOfACallAnswersTheNext) {
  Explore(Make<RequestServerGoneAndBack>(Going::kBreaks));
}

}  // namespace
}  // namespace zor::schedules
