// Very many calls and enumerations, after which the process holds what it held before.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/faults/tally.h"
#include "tests/hostile/support/caller.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/cycles.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ExpectNoMoreThan;
using testing::LoadedLibrary;
using testing::ServerEnd;
using testing::SettleWithin;
using testing::Usage;

// A few bytes at each call of one kind, in the short form, are more.
constexpr std::size_t kTolerance = 2 * 1024;

/// A loaded library and a server whose replies wait in the pipe: one thread is both ends.
class Session {
 public:
  Session() {
    std::jthread first([this] {
      EXPECT_TRUE(server_.WaitForClient());
      EXPECT_TRUE(server_.Read());
      EXPECT_TRUE(server_.Write(testing::Build(testing::Reply{})));
    });
    EXPECT_EQ(library_->Start(1), ZOR_SUCCESS);
    EXPECT_TRUE(notify_.WaitForClient());
  }

  template <typename Call>
  void Exchange(const Bytes& reply, const Call& call) {
    ASSERT_TRUE(server_.Write(reply));
    call();
    ASSERT_TRUE(server_.Read());
  }

  [[nodiscard]] const LoadedLibrary& library() const { return library_; }

 private:
  // Keeps the listener from trying to connect, and from its log, all the time. Not a server that
  // reads: it would give up some time, and each of its connections would cost a handle.
  ServerEnd notify_{testing::kNotifyPipe};
  ServerEnd server_{testing::kRequestPipe};
  LoadedLibrary library_;
};

TEST(Endurance, OfCallsLeavesNothing) {
  Session session;
  const std::size_t rounds = Scaled(1000, 1'000'000 / RemoteCalls().size() + 1);
  const Bytes refusal = testing::Build(testing::FullReply(5));
  const Bytes garbage(100, 0xEE);
  Caller caller(session.library());
  std::size_t calls = 0;
  Usage before;
  for (std::size_t round = 0; round <= rounds && !::testing::Test::HasFailure(); ++round) {
    for (const RemoteCall& remote : RemoteCalls()) {
      const bool refused = round % 8 == 6;
      const bool good = round % 8 < 6;
      const Bytes reply = good ? remote.reply() : refused ? refusal : garbage;
      const ZorResult expected = good ? 0U : refused ? 5U : 1U;
      session.Exchange(reply, [&] { EXPECT_EQ(caller.Call(remote), expected); });
      ++calls;
    }
    if (round == 8) before = SettleWithin(Usage{}, 1000);
  }
  ExpectNoMoreThan(before, kTolerance);
  Tally("calls without a leak", calls);
}

class Enumerations : public ::testing::Test {
 protected:
  Enumerations() {
    wmi_.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                         {L"DriverVersion", {.text = L"1.0.0.5"}}});
    const auto package = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    testing::Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
  }

  /// Loads the library, enumerates, gives the list back and unloads. What the process held at most.
  Usage Run(std::size_t count) {
    Session session;
    ZorNameList list{};
    const auto enumerate = [&](const Bytes& reply) {
      session.Exchange(
          reply, [&] { EXPECT_EQ(session.library()->Enum(kAlgorithms, &list), ZOR_SUCCESS); });
      wmi_.calls.clear();
    };
    for (std::size_t i = 0; i < count && !HasFailure(); ++i) {
      enumerate(reply_);
      EXPECT_GT(list.count, 0U);
      EXPECT_STREQ(list.items[0], "general");
    }
    const Usage most = Usage::Now();
    enumerate(testing::Build(testing::Reply{}));
    EXPECT_EQ(list.items, nullptr);
    EXPECT_EQ(wmi_.live_objects, 0);
    return most;
  }

  static constexpr std::uint32_t kAlgorithms = 2;
  static inline const std::vector<std::string> kNames{"general", "private", "whisper"};

  testing::Com com_;
  testing::WmiStandIn wmi_;
  testing::Machine machine_;
  const Bytes reply_ = testing::Build(testing::ListOf(kNames));
};

TEST_F(Enumerations, LeaveTheIdTablesRowsOnly) {
  // A row is a name, which fits its object, and two ids; the table at most twice as long as needed.
  constexpr std::size_t kRowBytes = 40;
  // The server's threads, which are the standard's, leave some for the next ones.
  constexpr int kHandlesOfThreads = 8;
  const std::size_t count = Scaled(500, 10'000);
  Run(testing::kWarmUpCycles);
  const Usage few = Run(testing::kWarmUpCycles);
  Usage before = SettleWithin(Usage{}, 1000);
  before.handles += kHandlesOfThreads;
  const Usage many = Run(count);
  EXPECT_LE(many.handles, few.handles + kHandlesOfThreads);
  EXPECT_LE(many.heap_bytes, few.heap_bytes + 2 * count * kNames.size() * kRowBytes);
  // With the library the table goes, too.
  ExpectNoMoreThan(before, kTolerance);
  Tally("enumerations without a leak", count);
}

}  // namespace
}  // namespace zor::hostile
