// Loads and unloads in every order with a pass of the listener.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/schedules/application.h"

namespace zor::schedules {
namespace {

/// What the listener meets.
enum class Server { kAbsent, kSilent, kSends, kSendsTooMuch, kCloses, kBreaks };

void PrintTo(Server server, std::ostream* out) {
  static constexpr const char* kNames[] = {"absent",         "silent", "sends",
                                           "sends too much", "closes", "breaks"};
  *out << kNames[static_cast<int>(server)];
}

class UnloadBesideThePasses : public Application {
 public:
  /// The application sleeps so often before it unloads: the listener gets further meanwhile.
  UnloadBesideThePasses(Server server, int sleeps) : server_(server), sleeps_(sleeps) {}

  void Begin(System& system) override {
    if (server_ != Server::kAbsent) system.Listen(kNotifyPipe);
    system.scheduler().Start("app", [this, &system] {
      dll.Load();
      Register(CallbackA);
      registered_ = true;
      for (int i = 0; i < sleeps_; ++i) system.scheduler().Sleep();
      dll.Unload();
      unloaded_ = true;
    });
    if (server_ == Server::kAbsent || server_ == Server::kSilent) return;
    system.scheduler().Start("server", [this, &system] { Serve(system); });
  }

  void Check(System& system) override {
    Scenario::Check(system);
    if (server_ == Server::kSendsTooMuch) {
      EXPECT_EQ(Values(), std::vector<std::uint32_t>(deliveries.size(), 2));
      return;
    }
    // What was taken out of the pipe was delivered, in order.
    const int read = system.read_count(kNotifyPipe);
    std::vector<std::uint32_t> expected;
    for (int i = 1; i <= read; ++i) expected.push_back(static_cast<std::uint32_t>(i));
    EXPECT_EQ(Values(), expected);
  }

 private:
  void Serve(System& system) const {
    system.scheduler().WaitUntil([this] { return registered_; }, "waits for the callback");
    system.scheduler().WaitUntil(
        [this, &system] { return unloaded_ || system.HasClient(kNotifyPipe); },
        "waits for a client");
    system.Send(kNotifyPipe, server_ == Server::kSendsTooMuch ? Bytes(2500) : Message(1));
    system.Send(kNotifyPipe, Message(2));
    if (server_ == Server::kCloses) system.Close(kNotifyPipe);
    if (server_ == Server::kBreaks) system.Break(kNotifyPipe);
  }

  Server server_;
  int sleeps_;
  bool registered_ = false;
  bool unloaded_ = false;
};

class Unload : public ::testing::TestWithParam<std::tuple<Server, int>> {};

TEST_P(Unload, LeavesNothingAtAnyStepOfAPass) {
  Explore(Make<UnloadBesideThePasses>(std::get<0>(GetParam()), std::get<1>(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Schedules, Unload,
                         ::testing::Combine(::testing::Values(Server::kAbsent, Server::kSilent,
                                                              Server::kSends, Server::kSendsTooMuch,
                                                              Server::kCloses, Server::kBreaks),
                                            ::testing::Range(0, 3)));

/// Two parts of a program that each load the library and unload it, at the same time.
class TwoUsers : public Application {
 public:
  void Begin(System& system) override {
    system.Listen(kNotifyPipe);
    for (const char* name : {"app", "plug-in"}) {
      system.scheduler().Start(name, [this, &system] {
        dll.Load();
        system.scheduler().Sleep();
        dll.Unload();
      });
    }
  }
};

TEST(Schedules, LoadsAndUnloadsOfTwoThreadsLeaveNothing) { Explore(Make<TwoUsers>()); }

}  // namespace
}  // namespace zor::schedules
