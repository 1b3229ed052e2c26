// What a callback must not do, since the library is unloaded under the loader's lock: each is a
// deadlock in some schedule. So is what the library itself must not do.
#include <gmock/gmock.h>

#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// An application that unloads when its callback has begun.
class UnloadDuringTheCallback : public Application {
 public:
  void Begin(System& system) override {
    system.Listen(kNotifyPipe);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register(CallbackA);
      system.WaitForClient(kNotifyPipe);
      system.Send(kNotifyPipe, Message(1));
      system.scheduler().WaitUntil([this] { return MayUnload(); }, "waits for the callback");
      dll.Unload();
    });
  }

 protected:
  [[nodiscard]] virtual bool MayUnload() const { return !deliveries.empty(); }
};

class CallbackThatLoads : public UnloadDuringTheCallback {
  void DuringTheCallback() override { const LoaderLock lock; }
};

TEST(Deadlock, IsFoundWhereACallbackLoadsALibrary) {
  EXPECT_THAT(FindDeadlock(Make<CallbackThatLoads>()),
              AllOf(HasSubstr("app: waits for the work item"),
                    HasSubstr("listener: waits for the loader's lock")));
}

class UnloadAfterTheCallbackThatLoads : public UnloadDuringTheCallback {
  void DuringTheCallback() override {
    { const LoaderLock lock; }
    returned_ = true;
  }
  [[nodiscard]] bool MayUnload() const override { return returned_; }

  bool returned_ = false;
};

TEST(Deadlock, IsNotFoundWhereTheUnloadComesAfterTheCallback) {
  EXPECT_THAT(FindDeadlock(Make<UnloadAfterTheCallbackThatLoads>()), IsEmpty());
}

/// Its callback starts a thread and waits for it.
class CallbackThatWaitsForAThread : public UnloadDuringTheCallback {
  void DuringTheCallback() override {
    Scheduler& scheduler = TheSystem().scheduler();
    scheduler.Start("helper", [this] {
      { const LoaderLock lock; }  // as every thread when it begins
      begun_ = true;
    });
    scheduler.WaitUntil([this] { return begun_; }, "waits for a thread");
  }

  bool begun_ = false;
};

TEST(Deadlock, IsFoundWhereACallbackWaitsForAThread) {
  EXPECT_THAT(
      FindDeadlock(Make<CallbackThatWaitsForAThread>()),
      AllOf(HasSubstr("app: waits for the work item"), HasSubstr("listener: waits for a thread"),
            HasSubstr("helper: waits for the loader's lock")));
}

/// The library with a plain thread in place of its work item.
class PlainThread : public UnloadDuringTheCallback {
 public:
  void Begin(System& system) override {
    system.UsePlainThreads();
    UnloadDuringTheCallback::Begin(system);
  }
};

TEST(Deadlock, IsFoundWhereTheUnloadJoinsAPlainThread) {
  EXPECT_THAT(FindDeadlock(Make<PlainThread>()),
              AllOf(HasSubstr("app: waits for the thread's exit"),
                    HasSubstr("listener: waits for the loader's lock")));
}

TEST(Deadlock, IsNotFoundWhereACallbackOnlyReturns) {
  EXPECT_THAT(FindDeadlock(Make<UnloadDuringTheCallback>()), IsEmpty());
}

}  // namespace
}  // namespace zor::schedules
