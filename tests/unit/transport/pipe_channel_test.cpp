// The channel record and connecting it.
#include "transport/pipe_channel.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using platform::PipeHandle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kSuccess = "[zor] ConnectToServer() was successful.\n";

class Channel : public PlatformTest {
 protected:
  PipeChannel channel_{kRequestPipe};

  void TearDown() override {
    channel_.Close();
    PlatformTest::TearDown();
  }
};

TEST_F(Channel, BeginsWithoutAConnectionAndWithZeros) {
  EXPECT_EQ(channel_.capacity, 1024U);
  EXPECT_EQ(channel_.name.size(), 64U);
  EXPECT_EQ(std::wstring(channel_.name.data()), L"\\\\.\\Pipe\\ZorSWNRpipe");
  EXPECT_TRUE(std::all_of(channel_.name.begin() + kRequestPipe.size(), channel_.name.end(),
                          [](wchar_t c) { return c == L'\0'; }));
  EXPECT_EQ(channel_.buffer.size(), 1024U);
  EXPECT_TRUE(std::all_of(channel_.buffer.begin(), channel_.buffer.end(),
                          [](std::uint8_t byte) { return byte == 0; }));
  EXPECT_EQ(channel_.handle.load(), PipeHandle::kInvalid);
  EXPECT_EQ(static_cast<std::intptr_t>(PipeHandle::kInvalid), -1);
  EXPECT_THAT(TheCalls().Take(), IsEmpty());
}

TEST_F(Channel, BothPathsFitTheName) {
  EXPECT_EQ(kRequestPipe.size(), 20U);
  EXPECT_EQ(kNotifyPipe.size(), 26U);
  EXPECT_EQ(kNotifyPipe, L"\\\\.\\Pipe\\ZorSWNRpipeNotify");
}

TEST_F(Channel, APathThatDoesNotFitIsCutAndStillTerminated) {
  const std::wstring longer(200, L'p');
  const PipeChannel cut(longer);
  EXPECT_EQ(std::wstring(cut.name.data()), std::wstring(63, L'p'));
}

TEST_F(Channel, IsOpenedAndSwitchedToMessageMode) {
  ThePipes().Listen(kRequestPipe);
  EXPECT_TRUE(ConnectToServer(channel_));
  EXPECT_EQ(channel_.handle.load(), static_cast<PipeHandle>(4));
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("OpenPipe \\\\.\\Pipe\\ZorSWNRpipe -> #4",
                          std::string("DebugOutput ") + kSuccess, "SetMessageReadMode #4 -> ok"));
}

TEST_F(Channel, ThatStillAnswersIsKeptWithoutALogLine) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  static_cast<void>(TheCalls().Take());
  EXPECT_TRUE(ConnectToServer(channel_));
  EXPECT_THAT(TheCalls().Take(), ElementsAre("PeekPipe #4 -> ok"));
}

TEST_F(Channel, ThatDoesNotOpenLogsTheSystemsErrorAndStaysInvalid) {
  EXPECT_FALSE(ConnectToServer(channel_));
  EXPECT_EQ(channel_.handle.load(), PipeHandle::kInvalid);
  ThePipes().Busy(kRequestPipe);
  EXPECT_FALSE(ConnectToServer(channel_));
  ThePipes().Listen(kRequestPipe);
  TheCalls().Fail(Function::kOpenPipe, 5);
  EXPECT_FALSE(ConnectToServer(channel_));
  EXPECT_THAT(TheOutput().TakeNarrow(),
              ElementsAre("[zor] Error occurred while connecting to the server: 2\n",
                          "[zor] Error occurred while connecting to the server: 231\n",
                          "[zor] Error occurred while connecting to the server: 5\n"));
}

TEST_F(Channel, IsTriedOnceWithoutWaiting) {
  EXPECT_FALSE(ConnectToServer(channel_));
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 1);
  EXPECT_EQ(TheCalls().Count(Function::kSleep), 0);
}

TEST_F(Channel, CountsAsConnectedWhenMessageModeFails) {
  ThePipes().Listen(kRequestPipe);
  TheCalls().Fail(Function::kSetMessageReadMode, 87);
  EXPECT_TRUE(ConnectToServer(channel_));
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre(kSuccess));
}

TEST_F(Channel, WhoseServerRestartedIsOpenedAnewOverTheOldHandleWhichIsNotClosed) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  ThePipes().BreakConnections(kRequestPipe);
  static_cast<void>(TheCalls().Take());
  EXPECT_TRUE(ConnectToServer(channel_));
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> error 233", "OpenPipe \\\\.\\Pipe\\ZorSWNRpipe -> #8",
                          std::string("DebugOutput ") + kSuccess, "SetMessageReadMode #8 -> ok"));
  EXPECT_EQ(channel_.handle.load(), static_cast<PipeHandle>(8));
  ExpectAbandoned(1);
}

TEST_F(Channel, WhoseServerIsGoneIsInvalidAndTheOldHandleIsNotClosed) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  ThePipes().CloseConnections(kRequestPipe);
  ThePipes().Remove(kRequestPipe);
  EXPECT_FALSE(ConnectToServer(channel_));
  EXPECT_EQ(channel_.handle.load(), PipeHandle::kInvalid);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  ExpectAbandoned(1);
}

TEST_F(Channel, IsDisconnectedThenClosedOnce) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  static_cast<void>(TheCalls().Take());
  channel_.Close();
  EXPECT_EQ(channel_.handle.load(), PipeHandle::kInvalid);
  channel_.Close();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("DisconnectPipe #4", "ClosePipe #4"));
}

TEST_F(Channel, IsClosedByItsDestructor) {
  ThePipes().Listen(kNotifyPipe);
  {
    PipeChannel other(kNotifyPipe);
    ASSERT_TRUE(ConnectToServer(other));
    static_cast<void>(TheCalls().Take());
  }
  EXPECT_THAT(TheCalls().Take(), ElementsAre("DisconnectPipe #4", "ClosePipe #4"));
}

TEST_F(Channel, ThatIsHeldIsNotClosedByTheShut) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  {
    const PipeChannel::Hold hold(channel_);
    ASSERT_TRUE(hold);
    EXPECT_FALSE(PipeChannel::Hold(channel_)) << "held already";
    channel_.Shut();
    EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  }
  EXPECT_FALSE(PipeChannel::Hold(channel_)) << "shut for good";
  channel_.Close();
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 1);
}

TEST_F(Channel, ThatIsNotHeldIsClosedByTheShut) {
  ThePipes().Listen(kRequestPipe);
  ASSERT_TRUE(ConnectToServer(channel_));
  ASSERT_TRUE(PipeChannel::Hold(channel_));
  channel_.Shut();
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 1);
  channel_.Shut();
  EXPECT_FALSE(PipeChannel::Hold(channel_));
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 1);
}

}  // namespace
}  // namespace zor::scripted
