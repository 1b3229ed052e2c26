// The notification pipe: what the callback is given for what the server sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "tests/kit/events.h"
#include "tests/kit/patience.h"
#include "tests/kit/system.h"
#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using ::testing::ElementsAre;
using testing::EventRecorder;
using ::testing::IsEmpty;
using testing::kPatience;
using testing::Padded;
using testing::SeenEvent;

const char* const kOpened = "[zor] ConnectToServer() was successful.\n";
const char* const kListening = "[zor] Connection was successful.\n";
const char* const kNotListening = "[zor] Connection was fail.\n";
const char* const kReceived = "[zor] Recieve data from notify channel: ZorIntfNotify\n";
const char* const kReceivedOver = "[zor] Recieve data from notify channel: over\n";

/// Set once, on any thread.
class Signal {
 public:
  void Set() { set_.set_value(); }
  [[nodiscard]] bool Wait() const {
    return future_.wait_for(kPatience) == std::future_status::ready;
  }

 private:
  std::promise<void> set_;
  std::shared_future<void> future_ = set_.get_future().share();
};

class Notifications : public ::testing::Test {
 protected:
  Notifications() {
    server_->WaitForClient();
    library_->RegEventCallback(EventRecorder::OnEvent);
    rig_.log().WaitForOthers(kListening);
  }

  void Send(const Notification& notification) { server_->Send(notification); }
  void SendBytes(const Bytes& message) { server_->Send(message); }

  /// What the listener has logged since it connected.
  std::vector<std::string> ListenersLog() {
    auto lines = rig_.log().Others();
    const auto connected = std::find(lines.begin(), lines.end(), kListening);
    lines.erase(lines.begin(), connected == lines.end() ? connected : connected + 1);
    return lines;
  }

  /// Sends a notification that comes after everything else, so that all of that has been seen: as
  /// many as `expected`.
  std::vector<SeenEvent> Seen(std::size_t expected) {
    constexpr std::uint32_t kLast = 0xE0F;
    Send({.type = 1, .value = kLast});
    auto seen = recorder_.WaitFor(expected + 1);
    if (seen.size() != expected + 1) throw std::runtime_error("more events than expected");
    EXPECT_EQ(seen.back(), (testing::EventCopy{.type = 1, .value = kLast}));
    seen.pop_back();
    return seen;
  }

  /// Sends one that is no notification, and waits until it has been read: what came before is over.
  void WaitUntilOver() {
    Send({.type = 1, .func_name = "over"});
    rig_.log().WaitForOthers(kReceivedOver);
  }

  // In this order: the library is unloaded before the recorder that it calls is gone.
  Rig rig_;
  EventRecorder recorder_;
  std::optional<NotifyServer> server_{std::in_place};
  Library library_;
};

// --- the types

TEST_F(Notifications, DeliverEachTypeWithItsMembers) {
  struct {
    Notification sent;
    testing::EventCopy seen;
  } const cases[] = {
      {{.type = 0, .value = 1}, {.type = 0, .flag = true}},
      {{.type = 0, .value = 0}, {.type = 0, .flag = false}},
      {{.type = 1, .value = 0xFFFFFFFF}, {.type = 1, .value = 0xFFFFFFFF}},
      {{.type = 1, .value = 0}, {.type = 1, .value = 0}},
      {{.type = 2, .value = 0x80}, {.type = 2, .flag = true}},
      {{.type = 2, .value = 0}, {.type = 2, .flag = false}},
      {{.type = 3, .value = 0x12345678}, {.type = 3, .value = 0x12345678}},
      {{.type = 4, .value = 2, .text = "t\xE9xt"}, {.type = 4, .flag = true, .text = "t\xE9xt"}},
      {{.type = 4, .value = 0, .text = ""}, {.type = 4, .flag = false, .text = ""}},
      {{.type = 5, .value = 0xCAFEBABE, .text = "text"},
       {.type = 5, .value = 0xCAFEBABE, .text = "text"}},
  };
  for (const auto& one : cases) Send(one.sent);
  const auto seen = Seen(std::size(cases));
  for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], cases[i].seen);
}

TEST_F(Notifications, WithoutATextLeaveTheStalePointer) {
  Send({.type = 4, .value = 1, .text = "text"});
  Send({.type = 1, .value = 5});
  const auto seen = Seen(2);
  EXPECT_EQ(seen[1].value, 5U);
  EXPECT_EQ(seen[1].record.data.event5.text, seen[0].record.data.event5.text);
}

TEST_F(Notifications, AboveTypeFiveKeepThePayloadBefore) {
  Send({.type = 5, .value = 77, .text = "text"});
  Send({.type = 9});
  Send({.type = 255, .member = std::uint8_t{9}});
  Send({.type = 6, .value = 1, .text = "unread", .member = std::uint8_t{6}});
  const auto seen = Seen(4);
  EXPECT_EQ(seen[1].type, 9U);
  EXPECT_EQ(seen[2].type, 255U);
  EXPECT_EQ(seen[3].type, 6U);
  for (const SeenEvent& event : seen) {
    EXPECT_EQ(event.record.data.event5.value, 77U);
    EXPECT_EQ(event.record.data.event5.text, seen[0].record.data.event5.text);
  }
}

TEST_F(Notifications, ThatAreDroppedLeaveNothingToTheNext) {
  Send({.type = 3, .value = 7});
  Send({.type = 5, .value = 666, .text = std::nullopt});
  Send({.type = 9});
  const auto seen = Seen(2);
  EXPECT_EQ(seen[1].record.data.event3.value, 7U);
}

TEST_F(Notifications, ComeInOneRecordOnOneThreadOfTheLibrarys) {
  Send({.type = 1});
  Send({.type = 2});
  const auto seen = Seen(2);
  EXPECT_NE(seen[0].thread, testing::CurrentThread());
  EXPECT_EQ(seen[0].thread, seen[1].thread);
  EXPECT_EQ(seen[0].address, seen[1].address);
}

// --- order and number

TEST_F(Notifications, ArriveInOrderNoneLostNoneTwice) {
  constexpr std::uint32_t kMany = 20'000;
  std::jthread sender([&] {
    for (std::uint32_t i = 0; i < kMany; ++i) Send({.type = 1, .value = i});
  });
  static_cast<void>(recorder_.WaitFor(kMany));
  sender.join();
  const auto seen = Seen(kMany);
  for (std::uint32_t i = 0; i < kMany; ++i) ASSERT_EQ(seen[i].value, i);
}

TEST_F(Notifications, InABurstAreDeliveredOneByOne) {
  // While the first is being delivered the others queue up: in sum several times what one read
  // takes, in lengths up to the longest that is taken.
  Signal queued;
  recorder_.then = [&](const SeenEvent& event) { EXPECT_TRUE(event.value != 0 || queued.Wait()); };
  constexpr std::uint32_t kBurst = 30;
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    const Bytes message =
        Build(Notification{.type = 5, .value = i, .text = std::string(i * 30, 'x')});
    SendBytes(i % 5 == 4 ? Padded(message, 1024) : message);
  }
  queued.Set();
  const auto seen = Seen(kBurst);
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    EXPECT_EQ(seen[i].value, i);
    EXPECT_EQ(seen[i].text, std::string(i * 30, 'x'));
  }
}

// --- messages that are dropped

/// A good notification with further good ones behind it up to `size`, in one message. Whoever takes
/// any part of it for a message of its own delivers `value`.
Bytes Overlong(std::uint32_t value, std::size_t size) {
  const Bytes good = Build(Notification{.type = 1, .value = value});
  Bytes message = Padded(good, 1024);
  while (message.size() < size) message.insert(message.end(), good.begin(), good.end());
  message.resize(size);
  return message;
}

TEST_F(Notifications, Of1024BytesAreDelivered) {
  SendBytes(Padded(Build(Notification{.type = 1, .value = 31}), 1024));
  EXPECT_EQ(Seen(1)[0].value, 31U);
}

TEST_F(Notifications, ThatAreLongerAreDroppedWhole) {
  const std::size_t sizes[] = {1025, 1026, 2048, 2049, 5000, 60'000};
  for (const std::size_t size : sizes) {
    SendBytes(Overlong(32, size));
    Send({.type = 1, .value = static_cast<std::uint32_t>(size)});
  }
  const auto seen = Seen(std::size(sizes));
  for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i].value, sizes[i]);
  // Nothing of them was even logged.
  EXPECT_EQ(ListenersLog(), std::vector<std::string>(std::size(sizes) + 1, kReceived));
}

TEST_F(Notifications, OfZeroBytesDeliverNothing) {
  Send({.type = 1, .value = 33});
  static_cast<void>(recorder_.WaitFor(1));
  SendBytes(Bytes{});
  SendBytes(Bytes{});
  Send({.type = 1, .value = 34});
  const auto seen = Seen(2);
  EXPECT_EQ(seen[0].value, 33U);
  EXPECT_EQ(seen[1].value, 34U);
  EXPECT_THAT(ListenersLog(), ElementsAre(kReceived, kReceived, kReceived));
}

TEST_F(Notifications, OfAnotherNameAreLoggedAndDropped) {
  // With the rest of its message the last fills the 1024 bytes that a notification may have.
  const std::string names[] = {"zorIntfNotify", "ZorIntfNotif", "ZorIntfNotifyy", "",
                               "%s%n%d" + std::string(900, 'n') + "%"};
  std::vector<std::string> lines;
  for (const std::string& name : names) {
    Send({.type = 1, .value = 35, .func_name = name});
    lines.push_back("[zor] Recieve data from notify channel: " + name + "\n");
  }
  lines.push_back(kReceived);
  EXPECT_THAT(Seen(0), IsEmpty());
  EXPECT_EQ(ListenersLog(), lines);
}

TEST_F(Notifications, ThatLackWhatTheirTypeNeedsAreDropped) {
  const Notification lacking[] = {
      {.type = 0, .member = std::uint8_t{0}},              // no payload
      {.type = 0, .value = 1, .member = std::uint8_t{3}},  // another type's payload
      {.type = 1, .value = 1, .member = std::uint8_t{4}},  // the same shape, another type's
      {.type = 4, .value = 1, .text = std::nullopt},       // no text
      {.type = 5, .value = 1, .text = std::nullopt}};      // no text
  for (const Notification& notification : lacking) Send(notification);
  SendBytes(Build(Reply{.func_name = "ZorIntfNotify", .result = 7}));  // no event
  EXPECT_THAT(Seen(0), IsEmpty());
  EXPECT_EQ(ListenersLog(), std::vector<std::string>(std::size(lacking) + 2, kReceived));
}

TEST_F(Notifications, OfGarbageAreDroppedInSilence) {
  SendBytes(Build(Reply{.func_name = {}, .result = 7}));  // no name
  for (const std::uint8_t filler : Bytes{0x00, 0x01, 0x04, 0x7F, 0x80, 0xFF}) {
    for (const std::size_t size : {1U, 4U, 5U, 100U, 1024U, 5000U}) SendBytes(Bytes(size, filler));
  }
  EXPECT_THAT(Seen(0), IsEmpty());
  EXPECT_THAT(ListenersLog(), ElementsAre(kReceived));
}

TEST_F(Notifications, ThatAreCutAreNotCompletedFromTheLast) {
  const Bytes good = Build(Notification{.type = 5, .value = 37, .text = "text"});
  std::size_t sent = 0;
  // Padding follows the last text's end: a message without it is whole.
  for (std::size_t size = 1; size + 4 < good.size(); ++size, ++sent) {
    SendBytes(good);
    SendBytes(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  EXPECT_EQ(Seen(sent).size(), sent);
  EXPECT_GT(sent, 50U);
}

// --- the callback

TEST_F(Notifications, WithoutACallbackAreReadLoggedAndDiscarded) {
  library_->RegEventCallback(nullptr);
  Send({.type = 1, .value = 38});
  rig_.log().WaitForOthers(kReceived);
  // Logged before it is dispatched: only with the next one is the first known to be over.
  WaitUntilOver();
  library_->RegEventCallback(EventRecorder::OnEvent);
  EXPECT_THAT(Seen(0), IsEmpty());
}

TEST_F(Notifications, AreNotGivenToAReplacedCallback) {
  static std::atomic<std::uint32_t> others;
  others = 0;
  Send({.type = 1, .value = 40});
  static_cast<void>(recorder_.WaitFor(1));
  library_->RegEventCallback([](ZorEvent* event) { others += event->data.event1.value; });
  Send({.type = 1, .value = 41});
  WaitUntilOver();
  EXPECT_EQ(others, 41U);
  EXPECT_EQ(recorder_.Seen().size(), 1U);
}

TEST_F(Notifications, ReachACallbackThatAnotherHasRegistered) {
  static std::atomic<int> others;
  static Library* library;
  others = 0;
  library = &library_;
  recorder_.then = [](const SeenEvent&) {
    // The next event is another's, the ones after nobody's.
    (*library)->RegEventCallback([](ZorEvent*) {
      ++others;
      (*library)->RegEventCallback(nullptr);
    });
  };
  for (int i = 0; i < 4; ++i) Send({.type = 1});
  WaitUntilOver();
  EXPECT_EQ(others, 1);
  EXPECT_EQ(recorder_.Seen().size(), 1U);
}

TEST_F(Notifications, LetTheCallbackMakeCalls) {
  RequestServer requests;
  requests.Answer(Reply{.status = 44});
  std::uint32_t status = 0;
  ZorResult result = 99;
  recorder_.then = [&](const SeenEvent&) { result = library_->GetStatus(1, &status); };
  Send({.type = 1, .value = 45});
  WaitUntilOver();
  EXPECT_EQ(result, 0U);
  EXPECT_EQ(status, 44U);
}

TEST_F(Notifications, AreNotReadWhileACallbackRuns) {
  Signal runs;
  Signal go_on;
  recorder_.then = [&](const SeenEvent& event) {
    if (event.value != 1) return;
    runs.Set();
    EXPECT_TRUE(go_on.Wait());
  };
  Send({.type = 1, .value = 1});
  Send({.type = 1, .value = 2});
  ASSERT_TRUE(runs.Wait());
  EXPECT_EQ(rig_.log().CountOthers(kReceived), 1);
  EXPECT_EQ(recorder_.Seen().size(), 1U);
  go_on.Set();
  EXPECT_EQ(recorder_.WaitFor(2).size(), 2U);
}

// --- the connection

TEST_F(Notifications, KeepTheRequestPipeClosed) {
  const RequestServer requests;
  Send({.type = 1, .value = 47});
  static_cast<void>(recorder_.WaitFor(1));
  EXPECT_EQ(requests.connections(), 0);
}

TEST_F(Notifications, AreReceivedFromAServerThatComesBack) {
  constexpr int kRestarts = 5;
  const std::size_t ends = rig_.PipeEnds();
  for (int restart = 1; restart <= kRestarts; ++restart) {
    server_.reset();
    rig_.log().WaitForOthers(kNotListening);
    server_.emplace();
    server_->WaitForClient();
    rig_.log().WaitForOthers(kListening, restart + 1);
    const auto value = static_cast<std::uint32_t>(48 + restart);
    Send({.type = 1, .value = value});
    EXPECT_EQ(recorder_.WaitFor(static_cast<std::size_t>(restart)).back().value, value);
    // At most one each: none where the peek that finds the server gone is the one that closes.
    EXPECT_LE(rig_.PipeEnds(), ends + static_cast<std::size_t>(restart));
  }
  EXPECT_EQ(rig_.log().CountOthers(kOpened), kRestarts + 1);
  EXPECT_EQ(rig_.log().CountOthers(kListening), kRestarts + 1);
}

TEST_F(Notifications, AreReceivedAfterADroppedConnection) {
  Send({.type = 1, .value = 50});
  static_cast<void>(recorder_.WaitFor(1));
  server_->Disconnect();
  server_->WaitForClient();
  rig_.log().WaitForOthers(kListening, 2);
  Send({.type = 1, .value = 51});
  EXPECT_EQ(recorder_.WaitFor(2)[1].value, 51U);
}

TEST_F(Notifications, OfAServerThatHasGoneAreStillDelivered) {
  Signal queued;
  recorder_.then = [&](const SeenEvent& event) { EXPECT_TRUE(event.value != 0 || queued.Wait()); };
  for (std::uint32_t i = 0; i < 10; ++i) Send({.type = 1, .value = i});
  server_.reset();
  queued.Set();
  EXPECT_EQ(recorder_.WaitFor(10)[9].value, 9U);
}

TEST(NotificationsWithoutServer, AreTriedForWhileCallsGoOn) {
  Rig rig;
  RequestServer requests;
  const Library library;
  rig.log().WaitForOthers(kNotListening, 20);
  std::uint32_t status = 1;
  EXPECT_EQ(library->GetStatus(1, &status), 0U);
  EXPECT_EQ(status, 0U);
  EXPECT_THAT(rig.log().Mine(), ElementsAre(kOpened));

  // Two lines at each try, in this order.
  const auto lines = rig.log().Others();
  for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
    EXPECT_EQ(lines[i], "[zor] Error occurred while connecting to the server: 2\n");
    EXPECT_EQ(lines[i + 1], kNotListening);
  }
}

TEST(NotificationsWithoutServer, AreTriedForUntilABusyOneIsFree) {
  Rig rig;
  std::optional<BusyPipe> busy(Pipe::kNotifications);
  const Library library;
  rig.log().WaitForOthers("[zor] Error occurred while connecting to the server: 231\n", 3);
  busy.reset();
  NotifyServer server;
  server.WaitForClient();
  rig.log().WaitForOthers(kListening);
}

}  // namespace
}  // namespace zor::rig
