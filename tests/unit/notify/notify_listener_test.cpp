// The listener, pass by pass.
#include "notify/notify_listener.h"

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

#include "notify/event_decoder.h"
#include "tests/support/exact_block.h"
#include "tests/support/library_test.h"
#include "tests/support/messages.h"

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
constexpr const char* kNotifyLine = "[zor] Recieve data from notify channel: ZorIntfNotify\n";

/// A delivered event, with a copy of its text where the type has one.
struct Delivered {
  ZorEvent event;
  std::string text;
};

std::vector<Delivered> delivered;

void Collect(ZorEvent* event) {
  // Texts are in the same place for both types that have one.
  const bool has_text = event->type == 4 || event->type == 5;
  delivered.push_back({*event, has_text ? event->data.event4.text : ""});
}

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
    for (const Delivered& one : delivered) types.push_back(one.event.type);
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

TEST_F(Listener, WithoutAServerDoesNotDisturbTheCalls) {
  ThePipes().Listen(kRequestPipe, [](const Bytes&) { return std::vector<Bytes>{Build(Reply{})}; });
  Load();
  EXPECT_EQ(TheThreads().WaitForPause(), 1U);
  EXPECT_EQ(ZorIntfStart(1), ZOR_SUCCESS);
  ExpectPause(1);
  EXPECT_EQ(ZorIntfStop(1), ZOR_SUCCESS);
}

TEST_F(Listener, WithABusyPipeTriesAgainToo) {
  ThePipes().Busy(kNotifyPipe);
  Load();
  EXPECT_EQ(TheThreads().WaitForPause(), 1U);
  EXPECT_THAT(TheOutput().TakeNarrow(),
              ElementsAre("[zor] Error occurred while connecting to the server: 231\n",
                          "[zor] Connection was fail.\n"));
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

TEST_F(Listener, DeliversWhatAServerSentBeforeItClosed) {
  ConnectAndRegister();
  Send({.type = 1, .value = 1});
  Send({.type = 3, .value = 2});
  ThePipes().CloseConnections(kNotifyPipe);
  ThePipes().Remove(kNotifyPipe);
  ExpectPause(1);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U, 3U));
  ExpectAbandoned(1);
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
  EXPECT_EQ(delivered[0].event.data.event1.value, 42U);
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

TEST_F(Listener, DeliversEachOfManyMessagesWhoseSumIsBeyondItsBuffer) {
  ConnectAndRegister();
  std::size_t sum = 0;
  for (std::uint32_t i = 0; i < 30; ++i) {
    const Bytes message = Build(Notification{.type = 5, .value = i, .text = std::string(200, 't')});
    sum += message.size();
    SendBytes(message);
  }
  ASSERT_GT(sum, 5 * 1024U);
  ExpectPause(100);
  ASSERT_EQ(delivered.size(), 30U);
  for (std::uint32_t i = 0; i < 30; ++i) {
    EXPECT_EQ(delivered[i].event.data.event5.value, i);
    EXPECT_EQ(delivered[i].text, std::string(200, 't'));
  }
  EXPECT_EQ(TheCalls().Count(Function::kReadPipe), 30);
}

TEST_F(Listener, AcceptsAMessageOfExactly1024Bytes) {
  ConnectAndRegister();
  Bytes message = Build(Notification{.type = 1, .value = 42});
  message.resize(1024);
  SendBytes(message);
  Send({.type = 3});
  ExpectPause(100);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U, 3U));
}

TEST_F(Listener, DropsALongerMessageWholeAndNeverTakesItsRestForAMessage) {
  ConnectAndRegister();
  for (const std::size_t size : {1025U, 1026U, 2048U, 2049U, 5000U}) {
    delivered.clear();
    // Cut off after 1024 bytes, each part would be a message of its own.
    Bytes message;
    while (message.size() < size) {
      Bytes part = Build(Notification{.type = 1, .value = 666});
      part.resize(1024);
      message.insert(message.end(), part.begin(), part.end());
    }
    message.resize(size);
    SendBytes(message);
    Send({.type = 3, .value = 1});
    static_cast<void>(TheOutput().TakeNarrow());

    ExpectPause(100);
    EXPECT_THAT(delivered, IsEmpty());
    EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
    EXPECT_EQ(ThePipes().Waiting(kNotifyPipe), 1U) << "the rest is drained";

    ExpectPause(100);
    EXPECT_THAT(DeliveredTypes(), ElementsAre(3U));
  }
}

TEST_F(Listener, ReadsALongMessagesRestInTheSamePass) {
  Connect();
  SendBytes(Bytes(2500));
  ExpectPause(100);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> ok", Peeked(2500), "ReadPipe #4 1024 -> error 234",
                          "ReadPipe #4 1024 -> error 234", "ReadPipe #4 1024 -> 452", "Sleep 100"));
}

TEST_F(Listener, DoesNotDeliverTheLastMessageAgainForOneOfZeroBytes) {
  ConnectAndRegister();
  Send({.type = 1, .value = 42});
  SendBytes({});
  Send({.type = 3, .value = 43});
  ExpectPause(100);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U, 3U));
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre(kNotifyLine, kNotifyLine));
}

TEST_F(Listener, DoesNotDecodeAShortMessageFromTheBytesOfTheLast) {
  ConnectAndRegister();
  const Bytes whole = Build(Notification{.type = 5, .value = 42, .text = "text"});
  std::size_t valid = 0;  // only padding is cut off
  ForEachTruncation(whole, [&](std::span<const std::uint8_t> bytes) {
    ZorEvent event{};
    valid += ReadFunctionName(bytes) != nullptr && ReadEvent(bytes, event) ? 1U : 0U;
    SendBytes(whole);
    SendBytes(Bytes(bytes.begin(), bytes.end()));
  });
  ASSERT_LT(valid, 4U);
  ExpectPause(100);
  EXPECT_EQ(delivered.size(), whole.size() + valid);
}

// --- Decoding and delivering

TEST_F(Listener, LogsAndDropsAMessageOfAnotherName) {
  ConnectAndRegister();
  Send({.type = 1, .func_name = "zorIntfNotify"});
  Send({.type = 1, .func_name = "ZorIntfNotify2"});
  Send({.type = 1, .func_name = "ZorIntfNotif"});
  Send({.type = 1, .func_name = ""});
  Send({.type = 1, .func_name = "100%s %n"});
  ExpectPause(100);
  EXPECT_THAT(delivered, IsEmpty());
  EXPECT_THAT(TheOutput().TakeNarrow(),
              ElementsAre("[zor] Recieve data from notify channel: zorIntfNotify\n",
                          "[zor] Recieve data from notify channel: ZorIntfNotify2\n",
                          "[zor] Recieve data from notify channel: ZorIntfNotif\n",
                          "[zor] Recieve data from notify channel: \n",
                          "[zor] Recieve data from notify channel: 100%s %n\n"));
}

TEST_F(Listener, DropsAMessageWithoutAReadableNameInSilenceAndDeliversTheNext) {
  ConnectAndRegister();
  SendBytes(Bytes(100, 0xFF));
  SendBytes({1});
  SendBytes(BuildMessage(
      [](messages::Builder& builder) { return messages::CreateCallMessage(builder); }));
  Send({.type = 1});
  ExpectPause(100);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(1U));
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre(kNotifyLine));
}

TEST_F(Listener, LogsAndDropsANotificationWithoutWhatItNeedsAndDeliversTheNext) {
  ConnectAndRegister();
  SendBytes(BuildMessage([](messages::Builder& builder) {
    return messages::CreateCallMessageDirect(builder, "ZorIntfNotify");
  }));
  SendBytes(BuildMessage([](messages::Builder& builder) {
    const auto event = messages::CreateNotifyEvent(builder, 4);
    return messages::CreateCallMessageDirect(builder, "ZorIntfNotify", nullptr, 0, 0, 0, 0, 0,
                                             event);
  }));
  Send({.type = 3});
  ExpectPause(100);
  EXPECT_THAT(DeliveredTypes(), ElementsAre(3U));
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre(kNotifyLine, kNotifyLine, kNotifyLine));
}

TEST_F(Listener, DeliversEachTypeWithItsMembersInTheOrderSent) {
  ConnectAndRegister();
  Send({.type = 0, .value = 1});
  Send({.type = 1, .value = 0x80000001});
  Send({.type = 2, .value = 2});
  Send({.type = 3, .value = 9});
  Send({.type = 4, .value = 1, .text = "four"});
  Send({.type = 5, .value = 10, .text = ""});
  ExpectPause(100);
  ASSERT_THAT(DeliveredTypes(), ElementsAre(0U, 1U, 2U, 3U, 4U, 5U));
  EXPECT_TRUE(delivered[0].event.data.event0.flag);
  EXPECT_EQ(delivered[1].event.data.event1.value, 0x80000001U);
  EXPECT_TRUE(delivered[2].event.data.event2.flag);
  EXPECT_EQ(delivered[3].event.data.event3.value, 9U);
  EXPECT_TRUE(delivered[4].event.data.event4.flag);
  EXPECT_EQ(delivered[4].text, "four");
  EXPECT_EQ(delivered[5].event.data.event5.value, 10U);
  EXPECT_EQ(delivered[5].text, "");
}

TEST_F(Listener, LeavesTheTextPointerOfAnEarlierEventInOneThatHasNone) {
  ConnectAndRegister();
  Send({.type = 4, .value = 1, .text = "stale"});
  Send({.type = 1, .value = 7});
  ExpectPause(100);
  ASSERT_THAT(DeliveredTypes(), ElementsAre(4U, 1U));
  EXPECT_EQ(delivered[0].text, "stale");
  EXPECT_EQ(delivered[1].event.data.event1.value, 7U);
  EXPECT_EQ(delivered[1].event.data.event4.text, delivered[0].event.data.event4.text);
}

TEST_F(Listener, DeliversATypeAbove5WithThePayloadOfTheEventBefore) {
  ConnectAndRegister();
  Send({.type = 5, .value = 7, .text = "text"});
  Send({.type = 9});
  Send({.type = 255});
  ExpectPause(100);
  ASSERT_THAT(DeliveredTypes(), ElementsAre(5U, 9U, 255U));
  for (const Delivered& one : delivered) {
    EXPECT_EQ(one.event.data.event5.value, 7U);
    EXPECT_EQ(one.event.data.event5.text, delivered[0].event.data.event5.text);
  }
}

TEST_F(Listener, DoesNotTakeAnythingFromADroppedNotificationIntoTheNext) {
  ConnectAndRegister();
  Send({.type = 3, .value = 7});
  SendBytes(BuildMessage([](messages::Builder& builder) {
    const auto payload = messages::CreateWordTextPayload(builder, 666).Union();  // no text
    const auto event =
        messages::CreateNotifyEvent(builder, 5, messages::EventPayload_WordTextPayload, payload);
    return messages::CreateCallMessageDirect(builder, "ZorIntfNotify", nullptr, 0, 0, 0, 0, 0,
                                             event);
  }));
  Send({.type = 9});
  ExpectPause(100);
  ASSERT_THAT(DeliveredTypes(), ElementsAre(3U, 9U));
  EXPECT_EQ(delivered[1].event.data.event3.value, 7U);
}

TEST_F(Listener, HandsOutOneAndTheSameRecord) {
  static std::vector<ZorEvent*> records;
  records.clear();
  Connect();
  ZorIntfRegEventCallback([](ZorEvent* event) { records.push_back(event); });
  Send({.type = 1});
  Send({.type = 2});
  ExpectPause(100);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0], records[1]);
}

TEST_F(Listener, WithoutACallbackReadsLogsAndDiscards) {
  Connect();
  Send({.type = 1});
  ExpectPause(100);
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre(kNotifyLine));
  EXPECT_EQ(ThePipes().Waiting(kNotifyPipe), 0U);

  ZorIntfRegEventCallback(Collect);
  ExpectPause(100);
  EXPECT_THAT(delivered, IsEmpty()) << "what came earlier is lost";
}

TEST_F(Listener, ReadsTheCallbackAfreshForEachEvent) {
  static int others = 0;
  others = 0;
  Connect();
  ZorIntfRegEventCallback([](ZorEvent* event) {
    Collect(event);
    // From within: the next event is another's, the one after nobody's.
    ZorIntfRegEventCallback([](ZorEvent*) {
      ++others;
      ZorIntfRegEventCallback(nullptr);
    });
  });
  for (int i = 0; i < 4; ++i) Send({.type = 1});
  ExpectPause(100);
  EXPECT_EQ(delivered.size(), 1U);
  EXPECT_EQ(others, 1);
}

TEST_F(Listener, LetsTheCallbackMakeCalls) {
  static ZorResult result = 99;
  result = 99;
  ThePipes().Listen(kRequestPipe, [](const Bytes&) { return std::vector<Bytes>{Build(Reply{})}; });
  Connect();
  ZorIntfRegEventCallback([](ZorEvent*) { result = ZorIntfStart(1); });
  Send({.type = 1});
  ExpectPause(100);
  EXPECT_EQ(result, ZOR_SUCCESS);
}

TEST_F(Listener, ReadsNoFurtherWhileTheCallbackRuns) {
  static std::size_t waiting = 0;
  Connect();
  ZorIntfRegEventCallback([](ZorEvent*) { waiting = ThePipes().Waiting(kNotifyPipe); });
  Send({.type = 1});
  Send({.type = 1});
  Send({.type = 1});
  TheCalls().Fail(Function::kReadPipe, 5, 2);  // stop after the first
  ExpectPause(100);
  EXPECT_EQ(waiting, 2U);
}

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
