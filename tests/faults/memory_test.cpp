// Every allocation of the library failed in turn: operator new and the runtime's heap. A program of
// its own: it replaces operator new.
#include <gmock/gmock.h>

#include <new>
#include <string>

#include "interface/debug_log.h"
#include "notify/notify_listener.h"
#include "tests/faults/tally.h"
#include "tests/support/allocations.h"
#include "tests/support/library_test.h"
#include "tests/support/machine_test.h"
#include "tests/support/remote_exports.h"

namespace zor::faults {
namespace {

using scripted::Build;
using scripted::Bytes;
using scripted::Function;
using scripted::LiveBlocks;
using scripted::Notification;
using scripted::OwnedOutputs;
using scripted::RemoteExport;
using scripted::RemoteExports;
using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using ::testing::IsEmpty;

/// How an attempt ended in which an allocation was to fail.
struct Outcome {
  bool failed = false;  ///< there was such an allocation
  bool thrown = false;
};

/// Calls `work` with its `nth` allocation failing.
template <typename Work>
Outcome WithFailure(std::size_t nth, Work work) {
  Outcome outcome;
  scripted::FailAllocation(nth);
  try {
    work();
  } catch (const std::bad_alloc&) {
    outcome.thrown = true;
  }
  outcome.failed = scripted::AllocationFailed();
  scripted::FailAllocation(0);
  return outcome;
}

/// Calls `attempt` with 1, 2, ... until it says that there was no such allocation; the number of
/// those that there were.
template <typename Attempt>
std::size_t ForEachAllocation(Attempt attempt) {
  std::size_t nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    if (!attempt(nth)) return nth - 1;
  }
}

class MemoryOfCalls : public scripted::CallTest,
                      public ::testing::WithParamInterface<RemoteExport> {
 protected:
  void SetUp() override {
    AnswerWith(GetParam().reply());
    OwnedOutputs outputs;
    ASSERT_EQ(GetParam().call(outputs.get()), ZOR_SUCCESS);
  }

  /// On a channel that is connected, or must be. False when every allocation went well.
  static bool Attempt(std::size_t nth, bool connected) {
    if (!connected) TheLibrary().client.request->Close();
    static_cast<void>(TheOutput().TakeNarrow());
    const std::size_t blocks = LiveBlocks();
    OwnedOutputs outputs;
    ZorResult result = ZOR_SUCCESS;
    const Outcome outcome = WithFailure(nth, [&] { result = GetParam().call(outputs.get()); });
    EXPECT_EQ(LiveBlocks(), blocks);
    EXPECT_TRUE(outputs.CanariesIntact());
    if (outcome.thrown) {
      EXPECT_TRUE(outputs.Untouched());
    } else {
      // Only a line of the log can do without.
      EXPECT_EQ(result, ZOR_SUCCESS);
      EXPECT_EQ(TheOutput().TakeNarrow().size(), connected || outcome.failed ? 0U : 1U);
    }
    return outcome.failed;
  }
};

TEST_P(MemoryOfCalls, ThatIsMissingThrowsOrDropsALineAndLeaksNothing) {
  for (const bool connected : {true, false}) {
    const auto tried = ForEachAllocation([&](auto nth) { return Attempt(nth, connected); });
    // The log line of the connection has two.
    EXPECT_EQ(tried, GetParam().allocations + (connected ? 0 : 2));
    Tally("failed allocations in calls", tried);
  }
  OwnedOutputs outputs;
  EXPECT_EQ(GetParam().call(outputs.get()), ZOR_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Exports, MemoryOfCalls,
                         ::testing::ValuesIn(RemoteExports().begin(), RemoteExports().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

class MemoryOfTheEnumeration : public scripted::MachineTest {
 protected:
  void SetUp() override {
    InstallDriver(L"1.0.0.5");
    const auto folder = AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    AddLibrary(folder, L"K270502.dll");
    AddLibrary(folder, L"K030806.dll");
    ServeAlgorithms({"general", "private", "whisper, and a name that is too long for its object"});
    Enumerate();  // connects; the standard library makes what it makes once
  }

  void TearDown() override {
    Release();
    MachineTest::TearDown();
  }

  ZorResult Enumerate() {
    Release();
    AlgorithmIdTable().swap(TheLibrary().algorithm_ids);
    return ZorIntfEnum(2, &list_);
  }

  void Release() {
    for (std::uint32_t i = 0; i < list_.count; ++i) TheHeap().Free(list_.items[i]);
    TheHeap().Free(list_.items);
    list_ = {};
  }

  void ExpectNormalList() const {
    ASSERT_EQ(list_.count, 2U);
    EXPECT_STREQ(list_.items[0], "general");
    EXPECT_EQ(list_.items[1], nullptr);
  }

  ZorNameList list_ = {};
};

TEST_F(MemoryOfTheEnumeration, ThatIsMissingThrowsAndLeaksNothing) {
  const auto tried = ForEachAllocation([&](std::size_t nth) {
    Release();
    AlgorithmIdTable().swap(TheLibrary().algorithm_ids);
    const std::size_t blocks = LiveBlocks();
    const Outcome outcome =
        WithFailure(nth, [&] { EXPECT_EQ(ZorIntfEnum(2, &list_), ZOR_SUCCESS); });
    EXPECT_EQ(outcome.thrown, outcome.failed);
    if (outcome.thrown) {
      EXPECT_EQ(list_.count, 0U);
      EXPECT_EQ(list_.items, nullptr);
    } else {
      ExpectNormalList();
    }
    EXPECT_EQ(scripted::TheDrivers().open_queries, 0);
    EXPECT_EQ(scripted::TheDirectories().open_count, 0);
    EXPECT_EQ(scripted::TheModules().LoadedCount(), 0);
    AlgorithmIdTable().swap(TheLibrary().algorithm_ids);
    EXPECT_EQ(LiveBlocks(), blocks);
    return outcome.failed;
  });
  EXPECT_GT(tried, 50U);
  Tally("failed allocations in the enumeration", tried);
}

using MemoryOfLoading = scripted::ListenerTest;

TEST_F(MemoryOfLoading, ThatIsMissingThrowsAndLeaksNothing) {
  TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  const auto tried = ForEachAllocation([&](std::size_t nth) {
    const std::size_t blocks = LiveBlocks();
    const Outcome outcome = WithFailure(nth, [&] { Load(); });
    EXPECT_EQ(outcome.thrown, outcome.failed);
    Unload();
    EXPECT_EQ(LiveBlocks(), blocks);
    return outcome.failed;
  });
  EXPECT_GT(tried, 10U);
  Tally("failed allocations in load", tried);
}

using MemoryOfTheListener = scripted::PlatformTest;

// From connecting to stopping, on this thread.
TEST_F(MemoryOfTheListener, ThatIsMissingDropsALineAndNoNotification) {
  static int delivered = 0;
  const auto tried = ForEachAllocation([&](std::size_t nth) {
    scripted::ResetPlatform();
    TheThreads().SetBegin(scripted::Threads::Begin::kNever);
    TheThreads().RunAlone();
    const std::size_t blocks = LiveBlocks();
    ThePipes().Listen(kNotifyPipe);
    delivered = 0;
    Outcome outcome;
    {
      RpcClient client([](RpcClient&) {});
      client.event_callback = [](ZorEvent*) { ++delivered; };
      int pauses = 0;
      TheCalls().Before(Function::kSleep, [&] {
        if (++pauses == 2) client.stopping = true;
        for (int i = 0; i < 3; ++i) ThePipes().Send(kNotifyPipe, Build(Notification{.type = 5}));
      });
      outcome = WithFailure(nth, [&] { RunNotifyListener(client); });
      TheCalls().Before(Function::kSleep, {});
    }
    EXPECT_FALSE(outcome.thrown);
    EXPECT_EQ(delivered, 3);
    constexpr std::size_t kLines = 5;  // two of connecting, three of notifications
    EXPECT_EQ(TheOutput().TakeNarrow().size(), outcome.failed ? kLines - 1 : kLines);
    scripted::ResetPlatform();
    EXPECT_EQ(LiveBlocks(), blocks);
    return outcome.failed;
  });
  EXPECT_EQ(tried, 10U);
  Tally("failed allocations in the listener", tried);
}

using MemoryOfTheLog = scripted::PlatformTest;

TEST_F(MemoryOfTheLog, ThatIsMissingDropsTheLine) {
  const std::size_t blocks = LiveBlocks();
  for (std::size_t nth = 1; nth <= 2; ++nth) {
    EXPECT_FALSE(WithFailure(nth, [] { Log("%d\n", 1); }).thrown);
    EXPECT_FALSE(WithFailure(nth, [] { Log(L"%d\n", 1); }).thrown);
  }
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
  EXPECT_EQ(LiveBlocks(), blocks);
  Tally("failed allocations in the log", 4);
}

}  // namespace
}  // namespace zor::faults
