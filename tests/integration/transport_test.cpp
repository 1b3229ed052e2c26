// The request pipe: connecting, reconnecting, and replies of every size.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/wire.h"

namespace zor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

const char* const kConnected = "[zor] ConnectToServer() was successful.\n";
const char* const kInvalidStatus =
    "[zor] [RpcClient::ZorIntfGetStatus] The IPC gotten data is invalid\n";

class TransportTest : public ::testing::Test {
 protected:
  /// A call that has an output, to see which reply it got.
  ZorResult GetStatus() {
    status_ = kUntouched;
    return library_->GetStatus(1, &status_);
  }

  static constexpr std::uint32_t kUntouched = 0xDEAD;

  const DebugCapture log_;
  std::uint32_t status_ = kUntouched;
  LoadedLibrary library_;
};

TEST_F(TransportTest, LoadingOpensNoRequestPipe) {
  RequestServer server;
  EXPECT_EQ(library_->RegEventCallback(nullptr), 0U);
  EXPECT_EQ(server.connections(), 0);
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(TransportTest, RegisteringACallbackNeedsNoServer) {
  EXPECT_EQ(library_->RegEventCallback([](ZorEvent*) {}), 0U);
  EXPECT_EQ(library_->RegEventCallback(nullptr), 0U);
  EXPECT_THAT(log_.Mine(), IsEmpty());
}

TEST_F(TransportTest, EveryCallWithoutAServerTriesAnew) {
  EXPECT_EQ(GetStatus(), 2U);
  EXPECT_EQ(GetStatus(), 2U);
  RequestServer server;
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_THAT(log_.Mine(),
              ElementsAre("[zor] Error occurred while connecting to the server: 2\n",
                          "[zor] Error occurred while connecting to the server: 2\n", kConnected));
}

TEST_F(TransportTest, AServerWithAllItsInstancesTakenIsError231) {
  RequestServer server(1, {.instances = 1});
  const UniqueHandle other = Require(CreateFileW(kRequestPipe, GENERIC_READ | GENERIC_WRITE, 0,
                                                 nullptr, OPEN_EXISTING, 0, nullptr),
                                     "CreateFile");
  EXPECT_EQ(GetStatus(), 2U);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_THAT(log_.Mine(),
              ElementsAre("[zor] Error occurred while connecting to the server: 231\n"));
}

TEST_F(TransportTest, TheConnectionIsKeptAcrossCalls) {
  RequestServer server(2);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(server.connections(), 1);
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected));
}

TEST_F(TransportTest, AfterARestartOfTheServerTheNextCallOpensAFreshHandle) {
  const std::set<HANDLE> before = ClientPipeEnds();
  constexpr std::size_t kRestarts = 5;
  for (std::size_t restart = 0; restart < kRestarts; ++restart) {
    RequestServer server;
    server.Answer(StatusReply(static_cast<std::uint8_t>(restart)));
    EXPECT_EQ(GetStatus(), 0U);
    EXPECT_EQ(status_, restart);
    // Each handle that had ceased to answer was abandoned on purpose, never closed.
    EXPECT_EQ(ClientPipeEnds().size(), before.size() + restart + 1);
  }
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected, kConnected, kConnected, kConnected, kConnected));

  // The unload closes the one that is in use, and only that.
  library_.Unload();
  EXPECT_EQ(ClientPipeEnds().size(), before.size() + kRestarts - 1);
}

TEST_F(TransportTest, ACallToAServerThatHasGoneIsTwo) {
  {
    RequestServer server;
    EXPECT_EQ(GetStatus(), 0U);
  }
  EXPECT_EQ(GetStatus(), 2U);
  EXPECT_THAT(log_.Mine(),
              ElementsAre(kConnected, "[zor] Error occurred while connecting to the server: 2\n"));
}

TEST_F(TransportTest, AConnectionThatEndedUnansweredIsMadeAgainByTheNextCall) {
  RequestServer server(2);
  server.HangUp();
  EXPECT_EQ(GetStatus(), 1U);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(server.connections(), 2);
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected, kConnected));
}

TEST_F(TransportTest, TheHandleReadsMessageByMessage) {
  const std::set<HANDLE> before = ClientPipeEnds();
  RequestServer server;
  // Two replies to one request: the second is the next call's, however long it has waited.
  server.Answer({StatusReply(21), StatusReply(22)});
  server.Answer({StatusReply(23)});
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(status_, 21U);
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(status_, 22U);

  std::set<HANDLE> opened;
  std::ranges::set_difference(ClientPipeEnds(), before, std::inserter(opened, opened.end()));
  ASSERT_EQ(opened.size(), 1U);
  DWORD mode = 0;
  ASSERT_TRUE(
      GetNamedPipeHandleStateW(*opened.begin(), &mode, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_EQ(mode & PIPE_READMODE_MESSAGE, static_cast<DWORD>(PIPE_READMODE_MESSAGE));
}

// --- replies of every size

TEST_F(TransportTest, AReplyOf1024BytesIsAccepted) {
  RequestServer server;
  server.Answer(Padded(StatusReply(24), 1024));
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(status_, 24U);
}

TEST_F(TransportTest, AReplyOf1025BytesLeavesItsLastByteForTheNextCall) {
  RequestServer server;
  server.Answer(Padded(StatusReply(25), 1025));
  server.Answer(StatusReply(26));
  EXPECT_EQ(GetStatus(), 1U);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected));

  EXPECT_EQ(GetStatus(), 1U);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected, kInvalidStatus));

  // From here on each call reads the reply to the one before.
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(status_, 26U);
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(TransportTest, AReplyOfFourBytesOrLessIsInvalidWhateverTheCallBeforeRead) {
  RequestServer server;
  for (std::size_t size = 0; size <= 4; ++size) {
    SCOPED_TRACE(size);
    // A good reply first: its bytes must not be taken for the short one's.
    Bytes reply = StatusReply(27);
    server.Answer(reply);
    ASSERT_EQ(GetStatus(), 0U);
    reply.resize(size);
    server.Answer(reply);
    EXPECT_EQ(GetStatus(), 1U);
    EXPECT_EQ(status_, kUntouched);
  }
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected, kInvalidStatus, kInvalidStatus, kInvalidStatus,
                                       kInvalidStatus, kInvalidStatus));
}

TEST_F(TransportTest, AReplyOfFiveBytesIsLookedAtAndRejected) {
  RequestServer server;
  server.Answer(Bytes{4, 0, 0, 0, 0});
  EXPECT_EQ(GetStatus(), 1U);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_THAT(log_.Mine(), ElementsAre(kConnected, kInvalidStatus));
}

TEST_F(TransportTest, EveryCutReplyIsRejected) {
  RequestServer server;
  const Bytes whole = FullReply(0);
  // The last string is padded to a multiple of four, and nobody misses the padding.
  for (std::size_t size = 1; size + 3 < whole.size(); size += 3) {
    SCOPED_TRACE(size);
    server.Answer(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(GetStatus(), 1U);
    EXPECT_EQ(status_, kUntouched);
  }
}

TEST_F(TransportTest, AReplyMayArriveLate) {
  ServerEnd end(kRequestPipe);
  Event called;
  std::jthread server([&] {
    ASSERT_TRUE(end.WaitForClient());
    ASSERT_TRUE(end.Read());
    // The call is now waiting for what is not there yet, and has no time limit.
    EXPECT_FALSE(called.WaitMs(200));
    ASSERT_TRUE(end.Write(StatusReply(28)));
  });
  EXPECT_EQ(GetStatus(), 0U);
  called.Set();
  EXPECT_EQ(status_, 28U);
}

}  // namespace
}  // namespace zor::testing
