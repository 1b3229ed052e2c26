// The listener with a sequence of messages and of what can happen to its pipe, on one thread: a
// pause of the listener is when the server acts.
#include <array>
#include <cstring>
#include <deque>

#include "fuzz/harness.h"
#include "notify/event_decoder.h"
#include "notify/notify_listener.h"
#include "tests/kit/events.h"
#include "tests/support/calls.h"
#include "tests/support/heap.h"
#include "tests/support/output.h"
#include "tests/support/pipes.h"
#include "tests/support/threads.h"

namespace zor::fuzz {
namespace {

using scripted::Function;
using scripted::TheCalls;
using scripted::ThePipes;
using testing::EventCopy;

constexpr std::size_t kMessageLimit = 1024;

/// The callback knows no user data.
std::deque<EventCopy>& Delivered() {
  static std::deque<EventCopy> delivered;
  return delivered;
}

class Server {
 public:
  Server(Input input, RpcClient& client) : input_(input), client_(client) {
    ThePipes().Listen(kNotifyPipe);
    ThePipes().PoisonUnread(true);
    TheCalls().StopRecording();
    TheCalls().Before(Function::kSleep, [this] { Act(); });
  }

  void Check() const {
    if (faulty_) return;
    Require(Delivered() == expected_, "delivered is not what was sent");
  }

 private:
  /// Until it is the listener's turn again, or the input is at its end and everything was read.
  void Act() {
    while (!input_.empty()) {
      if (Step(input_.Byte())) return;
    }
    // Without an end of what was read a pass would be missing.
    if (left_-- == 0) client_.stopping = true;
  }

  /// True for a pause.
  bool Step(std::uint8_t what) {
    switch (what % 16) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
      case 5:
        Send(input_.Bytes(input_.Word() % 1200));
        return false;
      case 6:
        if (!Begin(Kind::kFaults)) return false;
        ThePipes().CloseConnections(kNotifyPipe);
        return true;
      case 7:
        if (!Begin(Kind::kFaults)) return false;
        faulty_ = true;
        ThePipes().BreakConnections(kNotifyPipe);
        return false;
      case 8:
        if (ThePipes().Waiting(kNotifyPipe) == 0 || !Begin(Kind::kCounts)) return false;
        faulty_ = true;
        ThePipes().ShowAvailable(input_.Long());
        return false;
      case 9:
        if (Begin(Kind::kFaults)) FailSomething();
        return false;
      case 10:
        ThePipes().Remove(kNotifyPipe);
        return true;
      case 11:
        ThePipes().Listen(kNotifyPipe);
        return true;
      default:
        return true;
    }
  }

  void Send(std::span<const std::uint8_t> bytes) {
    const std::size_t waiting = ThePipes().Waiting(kNotifyPipe);
    ThePipes().Send(kNotifyPipe, testing::Bytes(bytes.begin(), bytes.end()));
    const bool sent = ThePipes().Waiting(kNotifyPipe) != waiting;
    if (!sent || bytes.size() > kMessageLimit) return;
    const Block message(bytes);
    const char* name = ReadFunctionName(message.bytes());
    if (name == nullptr || std::strcmp(name, "ZorIntfNotify") != 0) return;
    if (ReadEvent(message.bytes(), event_)) expected_.push_back(EventCopy::Of(event_));
  }

  /// Faults, or counts of bytes that are not so, but not both: a count without any bytes behind it
  /// cannot be, since nobody but the listener reads.
  enum class Kind : std::uint8_t { kNone, kFaults, kCounts };
  bool Begin(Kind kind) {
    if (kind_ == Kind::kNone) kind_ = kind;
    return kind_ == kind;
  }

  void FailSomething() {
    faulty_ = true;
    static constexpr std::array kFunctions = {Function::kPeekPipe, Function::kPeekAvailable,
                                              Function::kReadPipe, Function::kOpenPipe,
                                              Function::kSetMessageReadMode};
    static constexpr std::array<std::uint32_t, 4> kErrors = {109, 233, 234, 5};
    const std::uint8_t choice = input_.Byte();
    TheCalls().Fail(kFunctions[choice % kFunctions.size()], kErrors[(choice >> 4) % 4],
                    1 + (choice >> 6));
  }

  Input input_;
  RpcClient& client_;
  int left_ = 2;
  bool faulty_ = false;  ///< so that what is delivered is not predicted
  Kind kind_ = Kind::kNone;
  ZorEvent event_{};
  std::deque<EventCopy> expected_;
};

void Run(Input input) {
  FailWithThePlatform();
  TheCalls().Reset();
  scripted::TheOutput().Reset();
  ThePipes().Reset();
  scripted::TheThreads().Reset();
  scripted::TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  scripted::TheThreads().RunAlone();
  Delivered().clear();
  {
    // Its own thread never begins; the routine runs here.
    RpcClient client([](RpcClient&) {});
    client.event_callback = [](ZorEvent* event) { Delivered().push_back(EventCopy::Of(*event)); };
    Server server(input, client);
    RunNotifyListener(client);
    server.Check();
    TheCalls().Reset();
    TheCalls().StopRecording();
  }
  Require(ThePipes().OpenCount() == 0, "a handle is left open");
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zor::fuzz::Run(zor::fuzz::Input(data, size));
  return 0;
}
