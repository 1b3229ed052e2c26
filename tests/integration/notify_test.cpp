// The notification pipe: what the callback is given for what the server sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/event_recorder.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/server_end.h"
#include "tests/integration/support/wire.h"

namespace zor::testing {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;

const char* const kOpened = "[zor] ConnectToServer() was successful.\n";
const char* const kListening = "[zor] Connection was successful.\n";
const char* const kNotListening = "[zor] Connection was fail.\n";
const char* const kReceived = "[zor] Recieve data from notify channel: ZorIntfNotify\n";

class NotifyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_->WaitForClient());
    ASSERT_EQ(library_->RegEventCallback(EventRecorder::OnEvent), 0U);
    // The listener finds no server for as long as it may take this program to be one.
    ASSERT_TRUE(log_.WaitForOthers(kListening));
  }

  void Send(const Notice& notice) { SendBytes(Build(notice)); }
  void SendBytes(const Bytes& message) { ASSERT_TRUE(server_->Write(message)); }

  /// What the listener has logged since it connected.
  std::vector<std::string> ListenersLog() {
    auto lines = log_.Others();
    const auto connected = std::find(lines.begin(), lines.end(), kListening);
    lines.erase(lines.begin(), connected == lines.end() ? connected : connected + 1);
    return lines;
  }

  /// A notification that comes after everything else, to know that all of that has been seen.
  static constexpr std::uint32_t kLast = 0xE0F;
  std::vector<SeenEvent> SendLastAndWait(std::size_t expected_before) {
    Send({.type = 1, .value = kLast});
    auto seen = recorder_.WaitFor(expected_before + 1);
    EXPECT_EQ(seen.size(), expected_before + 1);
    if (seen.empty()) return seen;
    EXPECT_EQ(seen.back().type, 1U);
    EXPECT_EQ(seen.back().value, kLast);
    seen.pop_back();
    return seen;
  }

  // In this order: the library is unloaded before the recorder that it calls is gone.
  DebugCapture log_;
  EventRecorder recorder_;
  std::optional<ServerEnd> server_{kNotifyPipe};
  LoadedLibrary library_;
};

// --- the six types

TEST_F(NotifyTest, TypeZeroIsAFlag) {
  Send({.type = 0, .value = 1});
  Send({.type = 0, .value = 0});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].type, 0U);
  EXPECT_TRUE(seen[0].flag);
  EXPECT_EQ(seen[1].type, 0U);
  EXPECT_FALSE(seen[1].flag);
}

TEST_F(NotifyTest, TypeOneIsAValue) {
  Send({.type = 1, .value = 0xFFFFFFFF});
  Send({.type = 1, .value = 0});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].type, 1U);
  EXPECT_EQ(seen[0].value, 0xFFFFFFFFU);
  EXPECT_EQ(seen[1].value, 0U);
}

TEST_F(NotifyTest, TypeTwoIsAFlagFromAByte) {
  Send({.type = 2, .value = 0x80});
  Send({.type = 2, .value = 0});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].type, 2U);
  EXPECT_TRUE(seen[0].flag);
  EXPECT_FALSE(seen[1].flag);
}

TEST_F(NotifyTest, TypeThreeIsAValue) {
  Send({.type = 3, .value = 0x12345678});
  const auto seen = SendLastAndWait(1);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].type, 3U);
  EXPECT_EQ(seen[0].value, 0x12345678U);
}

TEST_F(NotifyTest, TypeFourIsAFlagWithAText) {
  Send({.type = 4, .value = 2, .text = "t\xE9xt"});
  Send({.type = 4, .value = 0, .text = ""});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].type, 4U);
  EXPECT_TRUE(seen[0].flag);
  EXPECT_EQ(seen[0].text, "t\xE9xt");
  EXPECT_FALSE(seen[1].flag);
  EXPECT_EQ(seen[1].text, "");
}

TEST_F(NotifyTest, TypeFiveIsAValueWithAText) {
  Send({.type = 5, .value = 0xCAFEBABE, .text = "text"});
  const auto seen = SendLastAndWait(1);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].type, 5U);
  EXPECT_EQ(seen[0].value, 0xCAFEBABEU);
  EXPECT_EQ(seen[0].text, "text");
}

TEST_F(NotifyTest, ATypeWithoutATextLeavesTheStalePointer) {
  Send({.type = 4, .value = 1, .text = "text"});
  Send({.type = 1, .value = 5});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[1].value, 5U);
  EXPECT_EQ(seen[1].text_pointer, seen[0].text_pointer);
}

TEST_F(NotifyTest, TypesAboveFiveKeepThePayloadOfTheOneBefore) {
  Send({.type = 5, .value = 77, .text = "text"});
  Send({.type = 9, .member = 0});
  Send({.type = 255, .member = 9});
  Send({.type = 6, .value = 1, .text = "unread", .member = 6});
  const auto seen = SendLastAndWait(4);
  ASSERT_EQ(seen.size(), 4U);
  EXPECT_EQ(seen[1].type, 9U);
  EXPECT_EQ(seen[2].type, 255U);
  EXPECT_EQ(seen[3].type, 6U);
  for (const SeenEvent& event : seen) {
    EXPECT_EQ(event.value, 77U);
    EXPECT_EQ(event.text_pointer, seen[0].text_pointer);
  }
}

TEST_F(NotifyTest, EventsComeOnOneThreadThatIsNotTheApplications) {
  Send({.type = 1, .value = 1});
  Send({.type = 1, .value = 2});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_NE(seen[0].thread, GetCurrentThreadId());
  EXPECT_EQ(seen[0].thread, seen[1].thread);
}

// --- order and number

TEST_F(NotifyTest, ManyArriveInOrderNoneLostNoneTwice) {
  constexpr std::uint32_t kMany = 20'000;
  std::jthread sender([&] {
    for (std::uint32_t i = 0; i < kMany; ++i) Send({.type = 1, .value = i});
  });
  const auto seen = recorder_.WaitFor(kMany);
  sender.join();
  ASSERT_EQ(SendLastAndWait(kMany).size(), kMany);
  for (std::uint32_t i = 0; i < kMany; ++i) ASSERT_EQ(seen[i].value, i);
}

TEST_F(NotifyTest, ABurstOfMoreThanOneReadsWorthIsDeliveredOneByOne) {
  // While the first is being delivered the others queue up: in sum several times what one read
  // takes, in lengths up to the longest that is taken.
  Event queued;
  recorder_.then = [&](const SeenEvent& event) {
    EXPECT_TRUE(event.value != 0 || queued.WaitMs(kPatienceMs));
  };
  constexpr std::uint32_t kBurst = 30;
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    const std::string text(i * 30, 'x');
    const Bytes message = Build({.type = 5, .value = i, .text = text.c_str()});
    SendBytes(i % 5 == 4 ? Padded(message, 1024) : message);
  }
  queued.Set();
  const auto seen = SendLastAndWait(kBurst);
  ASSERT_EQ(seen.size(), kBurst);
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    EXPECT_EQ(seen[i].value, i);
    EXPECT_EQ(seen[i].text, std::string(i * 30, 'x'));
  }
}

TEST(NotifyBuffer, ABurstOfMoreThanThePipeHoldsIsDelivered) {
  EventRecorder recorder;
  ServerEnd server(kNotifyPipe, {.buffer_size = 2048});
  LoadedLibrary library;
  library->RegEventCallback(EventRecorder::OnEvent);
  ASSERT_TRUE(server.WaitForClient());

  constexpr std::uint32_t kBurst = 200;
  const std::string text(500, 'y');
  std::jthread sender([&] {
    for (std::uint32_t i = 0; i < kBurst; ++i) {
      ASSERT_TRUE(server.Write(Build({.type = 5, .value = i, .text = text.c_str()})));
    }
  });
  const auto seen = recorder.WaitFor(kBurst);
  ASSERT_EQ(seen.size(), kBurst);
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    EXPECT_EQ(seen[i].value, i);
    EXPECT_EQ(seen[i].text, text);
  }
}

// --- messages that are dropped

/// A good notification with `size` bytes of further good notifications behind it, in one message.
/// Whoever takes any part of it for a message of its own delivers `value`.
Bytes Overlong(std::uint32_t value, std::size_t size) {
  const Bytes good = Build({.type = 1, .value = value});
  Bytes message = Padded(good, 1024);
  while (message.size() < size) message.insert(message.end(), good.begin(), good.end());
  message.resize(size);
  return message;
}

TEST_F(NotifyTest, ANotificationOf1024BytesIsDelivered) {
  SendBytes(Padded(Build({.type = 1, .value = 31}), 1024));
  const auto seen = SendLastAndWait(1);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].value, 31U);
}

TEST_F(NotifyTest, LongerNotificationsAreDroppedWholeAndTheNextDelivered) {
  for (const std::size_t size : {1025U, 2048U, 2049U, 5000U, 60'000U}) {
    SCOPED_TRACE(size);
    SendBytes(Overlong(32, size));
    Send({.type = 1, .value = static_cast<std::uint32_t>(size)});
  }
  const auto seen = SendLastAndWait(5);
  ASSERT_EQ(seen.size(), 5U);
  EXPECT_EQ(seen[0].value, 1025U);
  EXPECT_EQ(seen[1].value, 2048U);
  EXPECT_EQ(seen[2].value, 2049U);
  EXPECT_EQ(seen[3].value, 5000U);
  EXPECT_EQ(seen[4].value, 60'000U);
  // Nothing of them was even logged.
  EXPECT_THAT(ListenersLog(),
              ElementsAre(kReceived, kReceived, kReceived, kReceived, kReceived, kReceived));
}

TEST_F(NotifyTest, AnEmptyNotificationDeliversNothingAndNothingAgain) {
  Send({.type = 1, .value = 33});
  EXPECT_EQ(recorder_.WaitFor(1).size(), 1U);
  SendBytes(Bytes{});
  SendBytes(Bytes{});
  Send({.type = 1, .value = 34});
  const auto seen = SendLastAndWait(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].value, 33U);
  EXPECT_EQ(seen[1].value, 34U);
  EXPECT_THAT(ListenersLog(), ElementsAre(kReceived, kReceived, kReceived));
}

TEST_F(NotifyTest, ANameInTheWrongCaseIsLoggedAndDropped) {
  Send({.func_name = "zorIntfNotify", .type = 1, .value = 35});
  Send({.func_name = "ZorIntfNotif", .type = 1, .value = 35});
  Send({.func_name = "ZorIntfNotifyy", .type = 1, .value = 35});
  Send({.func_name = "", .type = 1, .value = 35});
  EXPECT_THAT(SendLastAndWait(0), IsEmpty());
  EXPECT_THAT(ListenersLog(),
              ElementsAre("[zor] Recieve data from notify channel: zorIntfNotify\n",
                          "[zor] Recieve data from notify channel: ZorIntfNotif\n",
                          "[zor] Recieve data from notify channel: ZorIntfNotifyy\n",
                          "[zor] Recieve data from notify channel: \n", kReceived));
}

TEST_F(NotifyTest, ANameIsLoggedWholeAndItsPercentSignsAsTheyAre) {
  // With the rest of its message this fills the 1024 bytes that a notification may have.
  const std::string name = "%s%n%d" + std::string(900, 'n') + "%";
  SendBytes(Padded(Build({.func_name = name.c_str(), .type = 1, .value = 36}), 1024));
  EXPECT_THAT(SendLastAndWait(0), IsEmpty());
  EXPECT_THAT(ListenersLog(),
              ElementsAre("[zor] Recieve data from notify channel: " + name + "\n", kReceived));
}

TEST_F(NotifyTest, ANotificationThatLacksWhatItsTypeNeedsIsDropped) {
  Send({.type = 0, .member = 0});                  // no payload
  Send({.type = 0, .value = 1, .member = 3});      // another type's payload
  Send({.type = 1, .value = 1, .member = 4});      // the same shape, another type's
  Send({.type = 4, .value = 1, .text = nullptr});  // no text
  Send({.type = 5, .value = 1, .text = nullptr});  // no text
  SendBytes(ResultReply(7));                       // no name, no event
  EXPECT_THAT(SendLastAndWait(0), IsEmpty());
  EXPECT_THAT(ListenersLog(),
              ElementsAre(kReceived, kReceived, kReceived, kReceived, kReceived, kReceived));
}

TEST_F(NotifyTest, GarbageIsDroppedAndTheNextDelivered) {
  const Bytes good = Build({.type = 5, .value = 37, .text = "text"});
  std::size_t sent = 0;
  // The text is last: whatever its cut, it is not whole.
  for (std::size_t size = 1; size + 4 < good.size(); ++size, ++sent) {
    SendBytes(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  for (const std::uint8_t filler : Bytes{0x00, 0x01, 0x04, 0x7F, 0x80, 0xFF}) {
    for (const std::size_t size : {1U, 4U, 5U, 100U, 1024U, 5000U}) SendBytes(Bytes(size, filler));
  }
  EXPECT_THAT(SendLastAndWait(0), IsEmpty());
  EXPECT_GT(sent, 50U);
}

// --- the callback

TEST_F(NotifyTest, WithoutACallbackNotificationsAreReadLoggedAndDiscarded) {
  library_->RegEventCallback(nullptr);
  Send({.type = 1, .value = 38});
  ASSERT_TRUE(log_.WaitForOthers(kReceived));
  // Logged before it is dispatched: only with the next one is the first known to be over.
  Send({.func_name = "over", .type = 1, .value = 39});
  ASSERT_TRUE(log_.WaitForOthers("[zor] Recieve data from notify channel: over\n"));
  library_->RegEventCallback(EventRecorder::OnEvent);
  EXPECT_THAT(SendLastAndWait(0), IsEmpty());
}

TEST_F(NotifyTest, AReplacedCallbackGetsNoMore) {
  Send({.type = 1, .value = 40});
  ASSERT_EQ(recorder_.WaitFor(1).size(), 1U);
  static std::atomic<int> others;
  static Event called;
  library_->RegEventCallback([](ZorEvent* event) {
    others += static_cast<int>(event->data.event1.value);
    called.Set();
  });
  Send({.type = 1, .value = 41});
  EXPECT_TRUE(called.WaitMs(kPatienceMs));
  EXPECT_EQ(others, 41);
  EXPECT_EQ(recorder_.Seen().size(), 1U);
}

TEST_F(NotifyTest, ACallbackMayRegisterAnother) {
  static Event called;
  static LoadedLibrary* library;
  library = &library_;
  recorder_.then = [](const SeenEvent&) {
    (*library)->RegEventCallback([](ZorEvent*) { called.Set(); });
  };
  Send({.type = 1, .value = 42});
  Send({.type = 1, .value = 43});
  EXPECT_TRUE(called.WaitMs(kPatienceMs));
  EXPECT_EQ(recorder_.Seen().size(), 1U);
}

TEST_F(NotifyTest, ACallbackMayMakeCalls) {
  RequestServer requests;
  requests.Answer(StatusReply(44));
  std::uint32_t status = 0;
  ZorResult result = 99;
  recorder_.then = [&](const SeenEvent&) { result = library_->GetStatus(1, &status); };
  Send({.type = 1, .value = 45});
  // Its end is known when the next one comes.
  Send({.type = 1, .value = 46});
  ASSERT_EQ(recorder_.WaitFor(2).size(), 2U);
  library_->RegEventCallback(nullptr);
  Send({.func_name = "over", .type = 1});
  ASSERT_TRUE(log_.WaitForOthers("[zor] Recieve data from notify channel: over\n"));
  EXPECT_EQ(result, 0U);
  EXPECT_EQ(requests.Requests().size(), 2U);
}

TEST_F(NotifyTest, NoNotificationIsReadWhileACallbackRuns) {
  Event first_runs;
  Event go_on;
  recorder_.then = [&](const SeenEvent& event) {
    if (event.value != 1) return;
    first_runs.Set();
    EXPECT_TRUE(go_on.WaitMs(kPatienceMs));
  };
  Send({.type = 1, .value = 1});
  Send({.type = 1, .value = 2});
  ASSERT_TRUE(first_runs.WaitMs(kPatienceMs));
  EXPECT_EQ(log_.CountOthers(kReceived), 1);
  EXPECT_EQ(recorder_.Seen().size(), 1U);
  go_on.Set();
  EXPECT_EQ(recorder_.WaitFor(2).size(), 2U);
}

// --- the connection

TEST_F(NotifyTest, AConnectedListenerKeepsTheRequestPipeClosed) {
  RequestServer requests;
  Send({.type = 1, .value = 47});
  EXPECT_EQ(recorder_.WaitFor(1).size(), 1U);
  EXPECT_EQ(requests.connections(), 0);
}

TEST_F(NotifyTest, AServerThatComesBackIsFoundAgain) {
  Send({.type = 1, .value = 48});
  ASSERT_EQ(recorder_.WaitFor(1).size(), 1U);
  constexpr int kRestarts = 5;
  for (int restart = 1; restart <= kRestarts; ++restart) {
    server_.reset();
    ASSERT_TRUE(log_.WaitForOthers(kNotListening, 1));
    server_.emplace(kNotifyPipe);
    ASSERT_TRUE(server_->WaitForClient());
    ASSERT_TRUE(log_.WaitForOthers(kListening, restart + 1));
    Send({.type = 1, .value = static_cast<std::uint32_t>(48 + restart)});
    const auto seen = recorder_.WaitFor(static_cast<std::size_t>(restart) + 1);
    ASSERT_EQ(seen.size(), static_cast<std::size_t>(restart) + 1);
    EXPECT_EQ(seen.back().value, static_cast<std::uint32_t>(48 + restart));
  }
  EXPECT_EQ(log_.CountOthers(kOpened), kRestarts + 1);
  EXPECT_EQ(log_.CountOthers(kListening), kRestarts + 1);
}

TEST_F(NotifyTest, AServerThatDropsTheConnectionIsConnectedToAgain) {
  Send({.type = 1, .value = 50});
  ASSERT_EQ(recorder_.WaitFor(1).size(), 1U);
  server_->Disconnect();
  ASSERT_TRUE(server_->WaitForClient());
  ASSERT_TRUE(log_.WaitForOthers(kListening, 2));
  Send({.type = 1, .value = 51});
  const auto seen = recorder_.WaitFor(2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[1].value, 51U);
}

TEST_F(NotifyTest, NotificationsQueuedByAServerThatHasGoneAreStillDelivered) {
  Event queued;
  recorder_.then = [&](const SeenEvent& event) {
    EXPECT_TRUE(event.value != 0 || queued.WaitMs(kPatienceMs));
  };
  for (std::uint32_t i = 0; i < 10; ++i) Send({.type = 1, .value = i});
  server_.reset();
  queued.Set();
  const auto seen = recorder_.WaitFor(10);
  ASSERT_EQ(seen.size(), 10U);
  EXPECT_EQ(seen[9].value, 9U);
}

TEST_F(NotifyTest, TheHandleReadsMessageByMessageAndEachRestartAbandonsOne) {
  const std::size_t ends = ClientPipeEnds().size();
  constexpr std::size_t kRestarts = 3;
  for (std::size_t restart = 1; restart <= kRestarts; ++restart) {
    server_.reset();
    server_.emplace(kNotifyPipe);
    ASSERT_TRUE(server_->WaitForClient());
    ASSERT_TRUE(log_.WaitForOthers(kListening, static_cast<int>(restart) + 1));
    // At most one each: none where the peek that finds the server gone is the one that closes.
    EXPECT_LE(ClientPipeEnds().size(), ends + restart);
  }

  int answering = 0;
  for (const HANDLE end : ClientPipeEnds()) {
    if (PeekNamedPipe(end, nullptr, 0, nullptr, nullptr, nullptr) == FALSE) continue;
    ++answering;
    DWORD mode = 0;
    ASSERT_TRUE(GetNamedPipeHandleStateW(end, &mode, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(mode & PIPE_READMODE_MESSAGE, static_cast<DWORD>(PIPE_READMODE_MESSAGE));
  }
  EXPECT_EQ(answering, 1);
}

TEST(NotifyWithoutServer, TheListenerTriesOverAndOverAndTheCallsAreUnaffected) {
  const DebugCapture log;
  RequestServer requests;
  const LoadedLibrary library;
  ASSERT_TRUE(log.WaitForOthers(kNotListening, 20));
  std::uint32_t status = 1;
  EXPECT_EQ(library->GetStatus(1, &status), 0U);
  EXPECT_EQ(status, 0U);
  EXPECT_THAT(log.Mine(), ElementsAre(kOpened));

  // Two lines at each try, in this order.
  const auto lines = log.Others();
  for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
    EXPECT_EQ(lines[i], "[zor] Error occurred while connecting to the server: 2\n");
    EXPECT_EQ(lines[i + 1], kNotListening);
  }
}

TEST(NotifyWithoutServer, AServerThatIsTakenByOthersIsTriedUntilItIsFree) {
  const DebugCapture log;
  ServerEnd server(kNotifyPipe, {.instances = 1});
  UniqueHandle other = Require(
      CreateFileW(kNotifyPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
      "CreateFile");
  ASSERT_TRUE(server.WaitForClient());
  const LoadedLibrary library;
  ASSERT_TRUE(log.WaitForOthers("[zor] Error occurred while connecting to the server: 231\n", 3));
  other.reset();
  server.Disconnect();
  ASSERT_TRUE(server.WaitForClient());
  EXPECT_TRUE(log.WaitForOthers(kListening));
}

}  // namespace
}  // namespace zor::testing
