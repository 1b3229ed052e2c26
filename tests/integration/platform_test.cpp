// The platform of the real system, and the debug log over it: linked in, since from outside the
// library nothing makes it write the longest lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "interface/debug_log.h"
#include "platform/heap.h"
#include "platform/pipe.h"
#include "platform/thread.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/server_end.h"

namespace zor::testing {
namespace {

using platform::PipeHandle;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// --- the log

TEST(DebugLog, OneCallIsOneMessageWithThePrefixAndWithoutALineEndOfItsOwn) {
  const DebugCapture log;
  Log("first %d\nsecond", 1);
  Log(L"wide %ls %d\n", L"text", 2);
  EXPECT_THAT(log.Mine(), ElementsAre("[zor] first 1\nsecond", "[zor] wide text 2\n"));
}

TEST(DebugLog, AnEmptyTextIsThePrefixAlone) {
  const DebugCapture log;
  Log("%s", "");
  Log(L"%ls", L"");
  EXPECT_THAT(log.Mine(), ElementsAre("[zor] ", "[zor] "));
}

TEST(DebugLog, PercentSignsInArgumentsAreData) {
  const DebugCapture log;
  Log("%s", "100%s %n %d");
  Log(L"%ls", L"100%s %n %d");
  EXPECT_THAT(log.Mine(), ElementsAre("[zor] 100%s %n %d", "[zor] 100%s %n %d"));
}

TEST(DebugLog, LinesOfSeveralKilobytesAreWhole) {
  const DebugCapture log;
  for (const std::size_t length : {500U, 4096U, 8191U, 30'000U}) {
    const std::string text(length, 'n');
    const std::wstring wide(length, L'w');
    Log("%s|\n", text.c_str());
    Log(L"%ls|\n", wide.c_str());
    EXPECT_THAT(log.Mine(),
                ElementsAre("[zor] " + text + "|\n", "[zor] " + std::string(length, 'w') + "|\n"));
    DebugCapture::Clear();
  }
}

TEST(DebugLog, LinesOfSeveralThreadsAreWhole) {
  const DebugCapture log;
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const std::string text(1000, 't');
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        for (int line = 0; line < kLines; ++line) Log("%s\n", text.c_str());
      });
    }
  }
  const auto lines = log.Others();
  EXPECT_THAT(lines, SizeIs(kThreads * kLines));
  EXPECT_THAT(lines, Each("[zor] " + text + "\n"));
}

TEST(DebugLog, ATextThatCannotBeEncodedIsNotWritten) {
  // The formatter gets a size of 0, which the runtime reports to this handler; by default it ends
  // the process. Wine does not report it.
  const auto before = _set_invalid_parameter_handler(
      [](const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {});
  const DebugCapture log;
  // Outside the C locale's characters: the narrow formatter has no byte for it.
  Log("%ls", L"\x4E00");
  EXPECT_THAT(log.Mine(), IsEmpty());
  _set_invalid_parameter_handler(before);
}

// --- pipes

class PlatformPipe : public ::testing::Test {
 protected:
  /// A connected client's end, in message-read mode.
  PipeHandle Open() {
    const platform::OpenResult opened = platform::OpenPipe(kRequestPipe);
    EXPECT_NE(opened.handle, PipeHandle::kInvalid) << opened.error;
    EXPECT_TRUE(server_.WaitForClient());
    platform::SetMessageReadMode(opened.handle);
    return opened.handle;
  }

  std::array<std::uint8_t, 1024> buffer_{};
  ServerEnd server_{kRequestPipe, {.instances = 1}};
};

TEST_F(PlatformPipe, OpeningTellsWhyNot) {
  const platform::OpenResult absent = platform::OpenPipe(kNotifyPipe);
  EXPECT_EQ(absent.handle, PipeHandle::kInvalid);
  EXPECT_EQ(absent.error, static_cast<std::uint32_t>(ERROR_FILE_NOT_FOUND));

  const PipeHandle pipe = Open();
  const platform::OpenResult busy = platform::OpenPipe(kRequestPipe);
  EXPECT_EQ(busy.handle, PipeHandle::kInvalid);
  EXPECT_EQ(busy.error, static_cast<std::uint32_t>(ERROR_PIPE_BUSY));
  platform::ClosePipe(pipe);
}

TEST_F(PlatformPipe, AMessageTravelsEachWay) {
  const PipeHandle pipe = Open();
  const Bytes message{1, 2, 3};
  EXPECT_TRUE(platform::WritePipe(pipe, message));
  EXPECT_EQ(server_.Read(), message);
  ASSERT_TRUE(server_.Write(message));
  const platform::ReadResult read = platform::ReadPipe(pipe, buffer_);
  EXPECT_TRUE(read.ok);
  EXPECT_EQ(read.count, 3U);
  platform::ClosePipe(pipe);
}

TEST_F(PlatformPipe, PeekingGivesTheSumOfAllMessages) {
  const PipeHandle pipe = Open();
  std::uint32_t available = 99;
  EXPECT_TRUE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 0U);
  for (const std::size_t size : {10U, 20U, 30U}) ASSERT_TRUE(server_.Write(Bytes(size)));
  EXPECT_TRUE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 60U);
  EXPECT_EQ(platform::ReadPipe(pipe, buffer_).count, 10U);
  platform::ClosePipe(pipe);
}

TEST_F(PlatformPipe, ALongerMessageIsReadInParts) {
  const PipeHandle pipe = Open();
  ASSERT_TRUE(server_.Write(Bytes(1025)));
  const platform::ReadResult first = platform::ReadPipe(pipe, buffer_);
  EXPECT_FALSE(first.ok);
  EXPECT_EQ(first.error, platform::kErrorMoreData);
  EXPECT_EQ(first.count, 1024U);
  const platform::ReadResult rest = platform::ReadPipe(pipe, buffer_);
  EXPECT_TRUE(rest.ok);
  EXPECT_EQ(rest.count, 1U);
  platform::ClosePipe(pipe);
}

TEST_F(PlatformPipe, AnEndThatHasBeenDisconnectedDoesNotAnswer) {
  const PipeHandle pipe = Open();
  EXPECT_TRUE(platform::PeekPipe(pipe));
  server_.Disconnect();
  EXPECT_FALSE(platform::PeekPipe(pipe));
  std::uint32_t available = 99;
  EXPECT_FALSE(platform::PeekPipe(pipe, available));
  EXPECT_EQ(available, 99U);
  EXPECT_FALSE(platform::WritePipe(pipe, Bytes{1}));
  EXPECT_FALSE(platform::ReadPipe(pipe, buffer_).ok);
  platform::ClosePipe(pipe);
}

TEST_F(PlatformPipe, ClosingEndsTheConnectionWhateverDisconnectingDid) {
  const std::set<HANDLE> before = ClientPipeEnds();
  const PipeHandle pipe = Open();
  EXPECT_EQ(ClientPipeEnds().size(), before.size() + 1);
  platform::DisconnectPipe(pipe);
  platform::ClosePipe(pipe);
  EXPECT_EQ(ClientPipeEnds(), before);
  EXPECT_FALSE(server_.Read());
}

// --- heap and thread

TEST(PlatformHeap, ABlockOfNoBytesIsABlock) {
  void* block = platform::HeapAllocate(0);
  EXPECT_NE(block, nullptr);
  // This program's own free() is the other half.
  std::free(block);
  platform::HeapFree(std::malloc(1));
  platform::HeapFree(nullptr);
}

struct ThreadProbe {
  Event begun;
  Event end;
  platform::Thread* thread = nullptr;
  bool on_itself = false;
  bool finished = false;

  static void Run(void* argument) {
    auto& self = *static_cast<ThreadProbe*>(argument);
    self.begun.Set();
    EXPECT_TRUE(self.end.WaitMs(kPatienceMs));
    self.on_itself = platform::IsCurrentThread(self.thread);
    self.finished = true;
  }
};

TEST(PlatformThread, JoiningWaitsForTheRoutine) {
  ThreadProbe probe;
  probe.thread = platform::StartThread(ThreadProbe::Run, &probe);
  ASSERT_NE(probe.thread, nullptr);
  ASSERT_TRUE(probe.begun.WaitMs(kPatienceMs));
  EXPECT_FALSE(platform::IsCurrentThread(probe.thread));
  probe.end.Set();
  EXPECT_TRUE(platform::JoinThread(probe.thread));
  EXPECT_TRUE(probe.finished);
  EXPECT_TRUE(probe.on_itself);
}

TEST(PlatformThread, JoiningCallsOffARoutineThatHasNotBegunOrWaitsForIt) {
  struct Progress {
    std::atomic<bool> begun{false};
    std::atomic<bool> ended{false};
  };
  constexpr int kTimes = 300;
  for (int i = 0; i < kTimes; ++i) {
    Progress progress;
    platform::Thread* thread = platform::StartThread(
        [](void* argument) {
          auto& self = *static_cast<Progress*>(argument);
          self.begun = true;
          std::this_thread::yield();
          self.ended = true;
        },
        &progress);
    ASSERT_NE(thread, nullptr);
    ASSERT_TRUE(platform::JoinThread(thread));
    // Either it ran to its end or it never will.
    ASSERT_EQ(progress.begun, progress.ended);
  }
}

}  // namespace
}  // namespace zor::testing
