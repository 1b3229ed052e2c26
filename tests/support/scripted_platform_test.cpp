// The scripted platform itself: what it models, and what it lets no test get away with.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <array>
#include <thread>

#include "platform/debug_output.h"
#include "platform/heap.h"
#include "platform/pipe.h"
#include "platform/thread.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using platform::PipeHandle;
using ::testing::ElementsAre;

constexpr const wchar_t* kPipe = L"\\\\.\\Pipe\\Any";

class ScriptedPipes : public PlatformTest {
 protected:
  static PipeHandle Open() { return platform::OpenPipe(kPipe).handle; }

  static PipeHandle OpenForMessages() {
    ThePipes().Listen(kPipe);
    const PipeHandle pipe = Open();
    platform::SetMessageReadMode(pipe);
    return pipe;
  }

  /// Closes whatever the test has left.
  void TearDown() override {
    ThePipes().Reset();
    PlatformTest::TearDown();
  }

  std::array<std::uint8_t, 8> buffer_{};
};

TEST_F(ScriptedPipes, AreAbsentBusyOrListening) {
  EXPECT_EQ(platform::OpenPipe(kPipe).error, kErrorFileNotFound);
  ThePipes().Busy(kPipe);
  EXPECT_EQ(platform::OpenPipe(kPipe).error, kErrorPipeBusy);
  ThePipes().Listen(kPipe);
  EXPECT_NE(Open(), PipeHandle::kInvalid);
}

TEST_F(ScriptedPipes, PeekShowsTheSumAndAReadTakesOneMessage) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().Send(kPipe, {1, 2, 3});
  ThePipes().Send(kPipe, {});
  ThePipes().Send(kPipe, {4, 5});

  std::uint32_t available = 0;
  EXPECT_TRUE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 5U);
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).count, 3U);
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).count, 0U);
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).count, 2U);
  EXPECT_EQ(ThePipes().Waiting(kPipe), 0U);
}

TEST_F(ScriptedPipes, ALongMessageIsReadInPartsAndTheErrorSaysSo) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().Send(kPipe, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  const auto first = platform::ReadPipe(pipe, buffer_);
  EXPECT_FALSE(first.ok);
  EXPECT_EQ(first.error, platform::kErrorMoreData);
  EXPECT_EQ(first.count, 8U);
  const auto rest = platform::ReadPipe(pipe, buffer_);
  EXPECT_TRUE(rest.ok);
  EXPECT_EQ(rest.count, 2U);
}

TEST_F(ScriptedPipes, WithoutMessageModeARunOfMessagesIsReadAsOne) {
  ThePipes().Listen(kPipe);
  const PipeHandle pipe = Open();
  ThePipes().Send(kPipe, {1, 2, 3});
  ThePipes().Send(kPipe, {4, 5});
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).count, 5U);
}

TEST_F(ScriptedPipes, AClosedServerIsStillReadToTheEnd) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().Send(kPipe, {1});
  ThePipes().CloseConnections(kPipe);
  EXPECT_TRUE(platform::PeekPipe(pipe));
  EXPECT_TRUE(platform::ReadPipe(pipe, buffer_).ok);
  EXPECT_FALSE(platform::PeekPipe(pipe));
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).error, kErrorBrokenPipe);
  EXPECT_FALSE(platform::WritePipe(pipe, buffer_));
}

TEST_F(ScriptedPipes, AClosedServerWhoseLastMessageIsEmptyAnswersUntilThatIsRead) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().Send(kPipe, {});
  ThePipes().CloseConnections(kPipe);
  std::uint32_t available = 77;
  EXPECT_TRUE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 0U);
  EXPECT_TRUE(platform::ReadPipe(pipe, buffer_).ok);
  EXPECT_FALSE(platform::PeekPipe(pipe));
}

TEST_F(ScriptedPipes, ABrokenConnectionLosesWhatWasNotRead) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().Send(kPipe, {1});
  ThePipes().BreakConnections(kPipe);
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).error, kErrorPipeNotConnected);
  std::uint32_t available = 77;
  EXPECT_FALSE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 77U);
}

TEST_F(ScriptedPipes, TheLowestFreeNumberIsGivenOutAgain) {
  ThePipes().Listen(kPipe);
  const PipeHandle first = Open();
  const PipeHandle second = Open();
  platform::ClosePipe(first);
  EXPECT_EQ(Open(), first);
  EXPECT_NE(Open(), second);
}

TEST_F(ScriptedPipes, FailTheTestThatUsesAClosedHandle) {
  const PipeHandle pipe = OpenForMessages();
  platform::ClosePipe(pipe);
  EXPECT_NONFATAL_FAILURE(EXPECT_FALSE(platform::PeekPipe(pipe)), "is used but not open");
  EXPECT_NONFATAL_FAILURE(platform::ClosePipe(pipe), "is used but not open");
}

TEST_F(ScriptedPipes, FailTheTestThatUsesAHandleWhoseNumberSomebodyElseGot) {
  const PipeHandle pipe = OpenForMessages();
  ThePipes().LetOthersTakeNumbers(true);
  platform::ClosePipe(pipe);
  EXPECT_NE(Open(), pipe);
  EXPECT_NONFATAL_FAILURE(platform::ClosePipe(pipe), "is somebody else's by now");
}

TEST_F(ScriptedPipes, FailTheTestThatReadsWhereNothingWaits) {
  const PipeHandle pipe = OpenForMessages();
  EXPECT_NONFATAL_FAILURE(EXPECT_FALSE(platform::ReadPipe(pipe, buffer_).ok),
                          "is read where nothing waits");
}

TEST_F(ScriptedPipes, FailTheTestThatClosesAHandleInUse) {
  const PipeHandle pipe = OpenForMessages();
  TheCalls().Before(Function::kPeekPipe,
                    [pipe] { std::thread([pipe] { platform::ClosePipe(pipe); }).join(); });
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(static_cast<void>(platform::PeekPipe(pipe)),
                                         "is closed while another thread uses it");
}

TEST_F(ScriptedPipes, FailTheTestThatUsesAHandleWhileItIsBeingClosed) {
  const PipeHandle pipe = OpenForMessages();
  TheCalls().Before(Function::kClosePipe, [pipe] {
    std::thread([pipe] { EXPECT_FALSE(platform::PeekPipe(pipe)); }).join();
  });
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(platform::ClosePipe(pipe),
                                         "is used while it is being closed");
}

TEST_F(ScriptedPipes, CountAHandleThatNoLongerAnsweredAsAbandoned) {
  const PipeHandle pipe = OpenForMessages();
  EXPECT_EQ(ThePipes().OpenCount(), 1);
  ThePipes().BreakConnections(kPipe);
  EXPECT_FALSE(platform::PeekPipe(pipe));
  EXPECT_EQ(ThePipes().OpenCount(), 0);
  EXPECT_EQ(ThePipes().AbandonedCount(), 1);
}

TEST_F(ScriptedPipes, RecordEveryCallInOrder) {
  const PipeHandle pipe = OpenForMessages();
  TheCalls().Fail(Function::kPeekPipe, 5, 2);
  static_cast<void>(platform::PeekPipe(pipe));
  static_cast<void>(platform::PeekPipe(pipe));
  static_cast<void>(platform::PeekPipe(pipe));
  platform::ClosePipe(pipe);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("OpenPipe \\\\.\\Pipe\\Any -> #4", "SetMessageReadMode #4 -> ok",
                          "PeekPipe #4 -> ok", "PeekPipe #4 -> error 5", "PeekPipe #4 -> ok",
                          "ClosePipe #4"));
  EXPECT_EQ(TheCalls().Count(Function::kPeekPipe), 3);
}

using ScriptedHeap = PlatformTest;

TEST_F(ScriptedHeap, FailsTheTestThatFreesABlockTwice) {
  void* block = platform::HeapAllocate(3);
  EXPECT_EQ(TheHeap().BlockCount(), 1U);
  platform::HeapFree(block);
  EXPECT_NONFATAL_FAILURE(platform::HeapFree(block), "is not allocated");
}

TEST_F(ScriptedHeap, HasAnEndAndFailsOnRequest) {
  EXPECT_EQ(platform::HeapAllocate(Heap::kLargestBlock + 1), nullptr);
  TheCalls().Fail(Function::kHeapAllocate, 0);
  EXPECT_EQ(platform::HeapAllocate(1), nullptr);
  void* block = platform::HeapAllocate(0);
  EXPECT_NE(block, nullptr);
  platform::HeapFree(block);
}

class ScriptedThread : public PlatformTest {
 protected:
  static void PauseTwice(void* count) {
    platform::Sleep(1);
    ++*static_cast<int*>(count);
    platform::Sleep(2);
    ++*static_cast<int*>(count);
  }

  int count_ = 0;
};

TEST_F(ScriptedThread, RunsFromPauseToPause) {
  platform::Thread* thread = platform::StartThread(PauseTwice, &count_);
  EXPECT_EQ(TheThreads().WaitForPause(), 1U);
  EXPECT_EQ(count_, 0);
  EXPECT_FALSE(platform::IsCurrentThread(thread));
  EXPECT_EQ(TheThreads().RunToPause(), 2U);
  EXPECT_EQ(count_, 1);
  EXPECT_EQ(TheThreads().RunToPause(), std::nullopt);
  EXPECT_EQ(count_, 2);
  EXPECT_TRUE(platform::JoinThread(thread));
}

TEST_F(ScriptedThread, IsWokenByTheJoin) {
  platform::Thread* thread = platform::StartThread(PauseTwice, &count_);
  EXPECT_TRUE(platform::JoinThread(thread));
  EXPECT_EQ(count_, 2);
}

TEST_F(ScriptedThread, IsCalledOffOrBegunByTheJoin) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  EXPECT_TRUE(platform::JoinThread(platform::StartThread(PauseTwice, &count_)));
  EXPECT_EQ(count_, 0);
  TheThreads().SetBegin(Threads::Begin::kAtJoin);
  EXPECT_TRUE(platform::JoinThread(platform::StartThread(PauseTwice, &count_)));
  EXPECT_EQ(count_, 2);
}

TEST_F(ScriptedThread, FailsToStartAndToJoinOnRequest) {
  TheCalls().Fail(Function::kStartThread, 0);
  EXPECT_EQ(platform::StartThread(PauseTwice, &count_), nullptr);
  TheCalls().Fail(Function::kJoinThread, 0);
  EXPECT_FALSE(platform::JoinThread(platform::StartThread(PauseTwice, &count_)));
}

}  // namespace
}  // namespace zor::scripted
