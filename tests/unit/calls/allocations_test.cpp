// How often the library allocates, and what happens where it cannot. A program of its own: it
// replaces operator new.
#include "tests/support/allocations.h"

#include <gmock/gmock.h>

#include <new>

#include "tests/kit/remote_calls.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;

class Allocations : public CallTest, public ::testing::WithParamInterface<RemoteCall> {};

TEST_P(Allocations, ACallAllocatesOnlyItsRequestAndOutputs) {
  AnswerWith(GetParam().reply());
  OwnedOutputs outputs;
  ASSERT_EQ(GetParam().call(LinkedExports(), outputs.records()),
            ZOR_SUCCESS);  // connects, which logs

  OwnedOutputs counted;
  const std::size_t before = AllocationCount();
  const int handed_out = TheCalls().Count(Function::kHeapAllocate);
  const ZorResult result = GetParam().call(LinkedExports(), counted.records());
  EXPECT_EQ(AllocationCount() - before, GetParam().allocations);
  EXPECT_EQ(result, ZOR_SUCCESS);
  EXPECT_EQ(static_cast<std::size_t>(TheCalls().Count(Function::kHeapAllocate) - handed_out),
            GetParam().handed_out);
}

TEST_P(Allocations, AFailedOneThrowsAndLeavesTheNextCallWell) {
  AnswerWith(GetParam().reply());
  OwnedOutputs connecting;
  ASSERT_EQ(GetParam().call(LinkedExports(), connecting.records()), ZOR_SUCCESS);
  for (std::size_t nth = 1; nth <= GetParam().allocations; ++nth) {
    OwnedOutputs outputs;
    bool thrown = false;
    FailAllocation(nth);
    try {
      static_cast<void>(GetParam().call(LinkedExports(), outputs.records()));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_TRUE(thrown);
    EXPECT_TRUE(outputs.Untouched());
    EXPECT_EQ(GetParam().call(LinkedExports(), outputs.records()), ZOR_SUCCESS);
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, Allocations,
                         ::testing::ValuesIn(RemoteCalls().begin(), RemoteCalls().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

TEST_F(CallTest, ABlockFitsTheBuilderThatIsMadeForIt) {
  AnswerWith(Build(Reply{}));
  char name[] = "preset";
  for (std::uint32_t size = 1; size < 100'000; size = size * 3 + 1) {
    Bytes data(size);
    const ZorBlob input{name, size, data.data()};
    ASSERT_EQ(ZorIntfSetSerialized(1, &input), ZOR_SUCCESS);
    const std::size_t before = AllocationCount();
    const ZorResult result = ZorIntfSetSerialized(1, &input);
    EXPECT_EQ(AllocationCount() - before, 2U) << size << " bytes";
    EXPECT_EQ(result, ZOR_SUCCESS);
  }
}

TEST_F(ListenerTest, ANotificationAllocatesForItsLogLineOnly) {
  static int delivered = 0;
  delivered = 0;
  ThePipes().Listen(kNotifyPipe);
  Load();
  ZorIntfRegEventCallback([](ZorEvent*) { ++delivered; });
  ASSERT_EQ(TheThreads().WaitForPause(), 100U);

  constexpr int kPerLine = 2;  // the joined format and the line
  for (int i = 0; i < 3; ++i) {
    ThePipes().Send(kNotifyPipe, Build(Notification{.type = 5, .text = "text"}));
  }
  const int before = TheCalls().Count(Function::kHeapAllocate);
  ASSERT_EQ(TheThreads().RunToPause(), 100U);
  EXPECT_EQ(TheCalls().Count(Function::kHeapAllocate) - before, 3 * kPerLine);
  EXPECT_EQ(delivered, 3);
}

TEST_F(ListenerTest, ANotificationIsDeliveredThoughThereIsNoMemoryForItsLogLine) {
  static int delivered = 0;
  delivered = 0;
  ThePipes().Listen(kNotifyPipe);
  Load();
  ZorIntfRegEventCallback([](ZorEvent*) { ++delivered; });
  ASSERT_EQ(TheThreads().WaitForPause(), 100U);
  static_cast<void>(TheOutput().TakeNarrow());

  ThePipes().Send(kNotifyPipe, Build(Notification{.type = 1}));
  TheCalls().Fail(Function::kHeapAllocate, 8);
  ASSERT_EQ(TheThreads().RunToPause(), 100U);
  EXPECT_EQ(delivered, 1);
  EXPECT_THAT(TheOutput().TakeNarrow(), ::testing::IsEmpty());
}

TEST_F(ListenerTest, ALoadWithoutMemoryThrowsBadAllocAndLeavesNothing) {
  Load();
  Unload();
  const std::size_t before = AllocationCount();
  Load();
  const std::size_t allocations = AllocationCount() - before;
  Unload();
  ASSERT_GE(allocations, 3U);
  // The listener, which has started by then, may have made the last few: half are the load's for
  // sure.
  for (std::size_t nth = 1; nth <= allocations / 2; ++nth) {
    FailAllocation(nth);
    EXPECT_THROW(Load(), std::bad_alloc);
  }
  EXPECT_EQ(TheCalls().Count(Function::kStartThread), 2);
}

}  // namespace
}  // namespace zor::scripted
