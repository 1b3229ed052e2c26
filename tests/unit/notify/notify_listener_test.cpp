// The listener, pass by pass.
#include "notify/notify_listener.h"

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

#include "tests/kit/events.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kOpens = "OpenPipe \\\\.\\Pipe\\ZorSWNRpipeNotify -> #";
constexpr const char* kConnects = "DebugOutput [zor] ConnectToServer() was successful.\n";
constexpr const char* kConnected = "DebugOutput [zor] Connection was successful.\n";
constexpr const char* kFailed = "DebugOutput [zor] Connection was fail.\n";
constexpr const char* kReceives =
    "DebugOutput [zor] Recieve data from notify channel: ZorIntfNotify\n";

std::vector<testing::EventCopy> delivered;

void Collect(ZorEvent* event) { delivered.push_back(testing::EventCopy::Of(*event)); }

class Listener : public ListenerTest {
 protected:
  Listener() { delivered.clear(); }

  /// Loads with a server there; the listener has connected and found nothing.
  void Connect() {
    ThePipes().Listen(kNotifyPipe);
    Load();
    ASSERT_EQ(TheThreads().WaitForPause(), 100U);
    static_cast<void>(TheCalls().Take());
    static_cast<void>(TheOutput().TakeNarrow());
  }

  void ConnectAndRegister() {
    Connect();
    ASSERT_EQ(ZorIntfRegEventCallback(Collect), ZOR_SUCCESS);
  }

  static void Send(const Notification& notification) { SendBytes(Build(notification)); }
  static void SendBytes(const Bytes& message) { ThePipes().Send(kNotifyPipe, message); }

  /// Lets the listener go on until it pauses, which it must for `milliseconds`.
  static void ExpectPause(std::uint32_t milliseconds) {
    EXPECT_EQ(TheThreads().RunToPause(), milliseconds);
  }

  static std::string Peeked(std::size_t bytes, int handle = 4) {
    return "PeekAvailable #" + std::to_string(handle) + " -> " + std::to_string(bytes);
  }

  static std::vector<std::uint32_t> DeliveredTypes() {
    std::vector<std::uint32_t> types;
    for (const auto& one : delivered) types.push_back(one.type);
    return types;
  }
};

// --- Connecting

TEST_F(Listener, WithoutAServerTriesAgainAfterEachMillisecondAndLogsEachTime) {
  Load();
  EXPECT_EQ(TheThreads().WaitForPause(), 1U);
  static_cast<void>(TheCalls().Take());
  for (int pass = 0; pass < 3; ++pass) {
    ExpectPause(1);
    EXPECT_THAT(TheCalls().Take(),
                ElementsAre("OpenPipe \\\\.\\Pipe\\ZorSWNRpipeNotify -> error 2",
                            "DebugOutput [zor] Error occurred while connecting to the server: 2\n",
                            kFailed, "Sleep 1"));
  }
}

TEST_F(Listener, ConnectsAndInTheSamePassLooksForAMessage) {
  ThePipes().Listen(kNotifyPipe);
  Load();
  EXPECT_EQ(TheThreads().WaitForPause(), 100U);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("StartThread", std::string(kOpens) + "4", kConnects,
                          "SetMessageReadMode #4 -> ok", kConnected, Peeked(0), "Sleep 100"));
}

TEST_F(Listener, ThatIsConnectedChecksAndPeeksOnceEachAndLogsNothing) {
  Connect();
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(), ElementsAre("PeekPipe #4 -> ok", Peeked(0), "Sleep 100"));
}

TEST_F(Listener, NeverTouchesTheRequestPipe) {
  ThePipes().Listen(kRequestPipe);
  Connect();
  Send({.type = 1});
  ExpectPause(100);
  EXPECT_EQ(TheLibrary().client.request->handle.load(), platform::PipeHandle::kInvalid);
}

TEST_F(Listener, WhoseServerHasGoneAbandonsTheHandleAndTriesUntilItIsBack) {
  Connect();
  ThePipes().CloseConnections(kNotifyPipe);
  ThePipes().Remove(kNotifyPipe);
  ExpectPause(1);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> error 109",  // is it still connected?
                          "PeekPipe #4 -> error 109",  // the connecting asks for itself
                          "OpenPipe \\\\.\\Pipe\\ZorSWNRpipeNotify -> error 2",
                          "DebugOutput [zor] Error occurred while connecting to the server: 2\n",
                          kFailed, "Sleep 1"));
  ExpectPause(1);
  static_cast<void>(TheCalls().Take());

  ThePipes().Listen(kNotifyPipe);
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre(std::string(kOpens) + "8", kConnects, "SetMessageReadMode #8 -> ok",
                          kConnected, Peeked(0, 8), "Sleep 100"));
  ExpectAbandoned(1);
}

TEST_F(Listener, WhoseServerRestartedConnectsAnewInOnePassWithoutAPause) {
  Connect();
  ThePipes().BreakConnections(kNotifyPipe);
  ExpectPause(100);
  EXPECT_THAT(
      TheCalls().Take(),
      ElementsAre("PeekPipe #4 -> error 233", "PeekPipe #4 -> error 233", std::string(kOpens) + "8",
                  kConnects, "SetMessageReadMode #8 -> ok", kConnected, Peeked(0, 8), "Sleep 100"));
  ExpectAbandoned(1);
}

TEST_F(Listener, WhoseHandleAnswersTheSecondTimeKeepsItButSaysConnected) {
  Connect();
  TheCalls().Fail(Function::kPeekPipe, 5);
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(), ElementsAre("PeekPipe #4 -> error 5", "PeekPipe #4 -> ok",
                                             kConnected, Peeked(0), "Sleep 100"));
}

TEST_F(Listener, WhosePipeBreaksAtThePeekClosesItAndReconnectsWithoutAPause) {
  Connect();
  TheCalls().Fail(Function::kPeekAvailable, kErrorBrokenPipe);
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> ok", "PeekAvailable #4 -> error 109", "DisconnectPipe #4",
                          "ClosePipe #4",  // and the next pass:
                          std::string(kOpens) + "4", kConnects, "SetMessageReadMode #4 -> ok",
                          kConnected, Peeked(0), "Sleep 100"));
}

TEST_F(Listener, ThatBreaksJustAfterConnectingClosesAndReconnects) {
  ThePipes().Listen(kNotifyPipe);
  TheCalls().Fail(Function::kPeekAvailable, kErrorPipeNotConnected);
  Load();
  EXPECT_EQ(TheThreads().WaitForPause(), 100U);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 2);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 1);
}

// --- Reading

TEST_F(Listener, ReadsAMessageInOnePassWithoutAPauseAndThenLooksAgain) {
  ConnectAndRegister();
  const Bytes message = Build(Notification{.type = 1, .value = 42});
  SendBytes(message);
  ExpectPause(100);
  const std::string size = std::to_string(message.size());
  std::string read = "ReadPipe #4 ";
  read.append(size).append(" -> ").append(size);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> ok", Peeked(message.size()), read, kReceives,
                          "PeekPipe #4 -> ok", Peeked(0), "Sleep 100"));
  ASSERT_EQ(delivered.size(), 1U);
  EXPECT_EQ(delivered[0].value, 42U);
}

TEST_F(Listener, ThatIsFloodedMakesOneReadAndTwoPeeksForEachMessage) {
  ConnectAndRegister();
  constexpr int kMessages = 100;
  const auto counts = [] {
    return std::array{
        TheCalls().Count(Function::kReadPipe),      TheCalls().Count(Function::kPeekPipe),
        TheCalls().Count(Function::kPeekAvailable), TheCalls().Count(Function::kDebugOutput),
        TheCalls().Count(Function::kOpenPipe),      TheCalls().Count(Function::kSleep)};
  };
  const auto before = counts();
  for (int i = 0; i < kMessages; ++i) Send({.type = 1, .value = 1});
  ExpectPause(100);
  const auto after = counts();
  std::array<int, 6> made{};
  for (std::size_t i = 0; i < made.size(); ++i) made.at(i) = after.at(i) - before.at(i);
  // The last pass finds nothing, and pauses.
  EXPECT_THAT(made, ElementsAre(kMessages, kMessages + 1, kMessages + 1, kMessages, 0, 1));
  EXPECT_EQ(delivered.size(), static_cast<std::size_t>(kMessages));
}

TEST_F(Listener, PausesWhenTheCountIsNotPositiveAsASignedNumber) {
  Connect();
  Send({.type = 1});
  for (const std::uint32_t count : {0U, 0x80000000U, 0xFFFFFFFFU}) {
    ThePipes().ShowAvailable(count);
    ExpectPause(100);
    EXPECT_THAT(TheCalls().Take(), ElementsAre("PeekPipe #4 -> ok", Peeked(count), "Sleep 100"));
  }
  ExpectPause(100);
  EXPECT_EQ(TheCalls().Count(Function::kReadPipe), 1);
}

TEST_F(Listener, ThatCannotReadPausesAndLogsNothing) {
  ConnectAndRegister();
  Send({.type = 1, .value = 42});
  TheCalls().Fail(Function::kReadPipe, 5);
  ExpectPause(100);
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
  EXPECT_EQ(TheCalls().Count(Function::kReadPipe), 1);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  EXPECT_THAT(delivered, IsEmpty());
  ExpectPause(100);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U));
}

TEST_F(Listener, ReadsALongMessagesRestInTheSamePass) {
  Connect();
  SendBytes(Bytes(2500));
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> ok", Peeked(2500), "ReadPipe #4 1024 -> error 234",
                          "ReadPipe #4 1024 -> error 234", "ReadPipe #4 1024 -> 452", "Sleep 100"));
}

// --- Stopping

TEST_F(Listener, ThatFindsStoppingSetOnEntryDoesNothing) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  ThePipes().Listen(kNotifyPipe);
  Load();
  RpcClient& client = TheLibrary().client;
  client.stopping = true;
  static_cast<void>(TheCalls().Take());
  RunNotifyListener(client);
  EXPECT_THAT(TheCalls().Take(), IsEmpty());
}

TEST_F(Listener, LooksForStoppingAtTheEndOfAPassOnly) {
  ConnectAndRegister();
  Send({.type = 1});
  // Set in the middle of a pass: the message is still read and delivered.
  TheCalls().Before(Function::kPeekAvailable, [] { TheLibrary().client.stopping = true; });
  EXPECT_EQ(TheThreads().RunToPause(), std::nullopt);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U));
}

TEST_F(Listener, DrainsALongMessageNoFurtherOnceStoppingIsSet) {
  Connect();
  SendBytes(Bytes(std::size_t{100} * 1024));
  const int reads = TheCalls().Count(Function::kReadPipe);
  TheCalls().Before(Function::kReadPipe, [] { TheLibrary().client.stopping = true; });
  EXPECT_EQ(TheThreads().RunToPause(), 100U);
  EXPECT_EQ(TheCalls().Count(Function::kReadPipe), reads + 2);
}

}  // namespace
}  // namespace zor::scripted
