// Every allocation of the library by operator new failed in turn. A program of its own: it replaces
// operator new. What the log allocates is of the C heap; the plans of faults fail that.
#include <gmock/gmock.h>

#include <new>
#include <string>

#include "interface/debug_log.h"
#include "notify/notify_listener.h"
#include "tests/faults/tally.h"
#include "tests/kit/remote_calls.h"
#include "tests/support/allocations.h"
#include "tests/support/library_test.h"
#include "tests/support/machine_test.h"

namespace zor::faults {
namespace {

using scripted::Function;
using scripted::LiveBlocks;
using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using testing::Build;
using testing::Bytes;
using ::testing::IsEmpty;
using testing::Notification;
using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;

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

class MemoryOfCalls : public scripted::CallTest, public ::testing::WithParamInterface<RemoteCall> {
 protected:
  void SetUp() override {
    AnswerWith(GetParam().reply());
    OwnedOutputs outputs;
    ASSERT_EQ(GetParam().call(scripted::LinkedExports(), outputs.records()), ZOR_SUCCESS);
  }

  /// On a channel that is connected, or must be. False when every allocation went well.
  static bool Attempt(std::size_t nth, bool connected) {
    if (!connected) TheLibrary().client.request->Close();
    static_cast<void>(TheOutput().TakeNarrow());
    const std::size_t blocks = LiveBlocks();
    OwnedOutputs outputs;
    ZorResult result = ZOR_SUCCESS;
    const Outcome outcome = WithFailure(
        nth, [&] { result = GetParam().call(scripted::LinkedExports(), outputs.records()); });
    EXPECT_EQ(LiveBlocks(), blocks);
    EXPECT_TRUE(outputs.CanariesIntact());
    if (outcome.thrown) {
      EXPECT_TRUE(outputs.Untouched());
    } else {
      EXPECT_FALSE(outcome.failed);
      EXPECT_EQ(result, ZOR_SUCCESS);
    }
    EXPECT_EQ(TheOutput().TakeNarrow().size(), connected ? 0U : 1U);
    return outcome.failed;
  }
};

TEST_P(MemoryOfCalls, ThatIsMissingThrowsAndLeaksNothing) {
  for (const bool connected : {true, false}) {
    const auto tried = ForEachAllocation([&](auto nth) { return Attempt(nth, connected); });
    EXPECT_EQ(tried, GetParam().allocations);
    Tally("failed allocations in calls", tried);
  }
  OwnedOutputs outputs;
  EXPECT_EQ(GetParam().call(scripted::LinkedExports(), outputs.records()), ZOR_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Exports, MemoryOfCalls,
                         ::testing::ValuesIn(RemoteCalls().begin(), RemoteCalls().end()),
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

// A failed allocation by operator new throws inside the runtime, in the form that returns null too,
// and what a thread's first exception needs may then be missing. So the listener makes none.
TEST_F(MemoryOfTheListener, IsOfTheCHeapOnly) {
  static int delivered = 0;
  delivered = 0;
  TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  TheThreads().RunAlone();
  ThePipes().Listen(kNotifyPipe);
  RpcClient client([](RpcClient&) {});
  client.event_callback = [](ZorEvent*) { ++delivered; };
  int pauses = 0;
  TheCalls().Before(Function::kSleep, [&] {
    const scripted::PlatformScope server;
    if (++pauses == 2) client.stopping = true;
    for (int i = 0; i < 3; ++i) ThePipes().Send(kNotifyPipe, Build(Notification{.type = 5}));
  });
  const std::size_t before = scripted::AllocationCount();
  RunNotifyListener(client);
  const std::size_t allocations = scripted::AllocationCount() - before;
  TheCalls().Before(Function::kSleep, {});
  EXPECT_EQ(allocations, 0U);
  EXPECT_EQ(delivered, 3);
  EXPECT_EQ(TheOutput().TakeNarrow().size(), 5U);  // two of connecting, three of notifications
}

using MemoryOfTheLog = scripted::PlatformTest;

TEST_F(MemoryOfTheLog, ThatIsMissingDropsTheLine) {
  for (int nth = 1; nth <= 2; ++nth) {
    TheCalls().Fail(Function::kHeapAllocate, 8, nth);
    Log("%d\n", 1);
    TheCalls().Fail(Function::kHeapAllocate, 8, nth);
    Log(L"%d\n", 1);
  }
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
  EXPECT_EQ(scripted::TheHeap().BlockCount(), 0U);
  Tally("failed allocations in the log", 4);
}

}  // namespace
}  // namespace zor::faults
