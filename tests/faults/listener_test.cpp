// The listener's passes, with every fault of the platform and every two of them, against a model
// that says what it must then log, deliver, abandon and close.
#include <gmock/gmock.h>

#include <deque>
#include <string>
#include <vector>

#include "notify/notify_listener.h"
#include "tests/faults/plan.h"
#include "tests/faults/tally.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::faults {
namespace {

using scripted::TheCalls;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using testing::Build;
using testing::Bytes;
using testing::Notification;

constexpr std::size_t kMessageLimit = 1024;
constexpr std::uint32_t kMoreData = 234;

/// A message that the server sends, and the value that it delivers.
struct Sent {
  Bytes bytes;
  int value = 0;  ///< 0: none
};

Sent Event(int value) {
  return {Build(Notification{.type = 1, .value = static_cast<std::uint32_t>(value)}), value};
}

Sent Oversized() {
  Bytes bytes = Event(9).bytes;
  bytes.resize(kMessageLimit + 100);
  return {bytes, 0};
}

/// What the server sends whenever the listener has nothing left to do. After the last it is over.
const std::vector<std::vector<Sent>>& Batches() {
  static const std::vector<std::vector<Sent>> batches = {
      {Event(1), Event(2), Oversized(), Event(3)}, {Event(4)}, {Event(5)}};
  return batches;
}

/// What the listener must do.
class Model {
 public:
  explicit Model(const Plan& plan) : steps_(plan) {
    while (!stopping_) Pass();
  }

  [[nodiscard]] const std::vector<Step>& steps() const { return steps_.steps(); }

  std::vector<int> delivered;
  std::vector<std::string> log;
  int abandoned = 0;
  int closed = 0;
  /// In byte mode messages run together; the model does not follow.
  bool in_byte_mode = false;

 private:
  void Log(const std::string& line) {
    if (steps_.Fails(Function::kHeapAllocate)) return;
    const bool measured = !steps_.Fails(Function::kFormattedLength);
    if (steps_.Fails(Function::kHeapAllocate)) return;
    if (measured) log.push_back("[zor] " + line + "\n");
  }

  void Sleep() {
    if (!connected_ || !queue_.empty()) return;
    if (batch_ == Batches().size()) {
      stopping_ = true;
      return;
    }
    for (const Sent& sent : Batches()[batch_]) queue_.push_back(sent);
    ++batch_;
  }

  bool Connect() {
    if (connected_ && !steps_.Fails(Function::kPeekPipe)) return true;
    // The second look, by the routine that connects.
    if (connected_ && !steps_.Fails(Function::kPeekPipe)) {
      Log("Connection was successful.");
      return true;
    }
    if (connected_) ++abandoned;
    connected_ = false;
    queue_.clear();
    if (const auto error = steps_.Next(Function::kOpenPipe)) {
      Log("Error occurred while connecting to the server: " + std::to_string(*error));
      Log("Connection was fail.");
      return false;
    }
    connected_ = true;
    Log("ConnectToServer() was successful.");
    if (steps_.Fails(Function::kSetMessageReadMode)) in_byte_mode = true;
    Log("Connection was successful.");
    return true;
  }

  void Pass() {
    if (!Connect()) return Sleep();
    if (steps_.Fails(Function::kPeekAvailable)) {
      connected_ = false;
      queue_.clear();
      ++closed;
      return;
    }
    if (queue_.empty()) return Sleep();
    if (const auto error = steps_.Next(Function::kReadPipe)) {
      if (*error == kMoreData) Drain();
      return Sleep();
    }
    if (queue_.front().bytes.size() > kMessageLimit) {
      queue_.front().bytes.resize(queue_.front().bytes.size() - kMessageLimit);
      queue_.front().value = 0;
      Drain();
      return Sleep();
    }
    const int value = queue_.front().value;
    queue_.pop_front();
    if (value == 0) return;  // the end of a message whose beginning was lost: nothing to read in it
    Log("Recieve data from notify channel: ZorIntfNotify");
    delivered.push_back(value);
  }

  /// Reads until a message is whole, or a read fails in another way.
  void Drain() {
    for (;;) {
      if (const auto error = steps_.Next(Function::kReadPipe)) {
        if (*error == kMoreData) continue;
        return;
      }
      if (queue_.front().bytes.size() <= kMessageLimit) {
        queue_.pop_front();
        return;
      }
      queue_.front().bytes.resize(queue_.front().bytes.size() - kMessageLimit);
      queue_.front().value = 0;
    }
  }

  ExpectedSteps steps_;
  bool connected_ = false;
  bool stopping_ = false;
  std::size_t batch_ = 0;
  std::deque<Sent> queue_;
};

std::vector<int>& Delivered() {
  static std::vector<int> delivered;
  return delivered;
}

/// The server's side of the real thing, at each pause of the listener.
void SendNext(RpcClient& client, std::size_t& batch) {
  if (ThePipes().OpenCount() == 0 || ThePipes().Waiting(kNotifyPipe) != 0) return;
  if (batch == Batches().size()) {
    client.stopping = true;
    return;
  }
  for (const Sent& sent : Batches()[batch]) ThePipes().Send(kNotifyPipe, sent.bytes);
  ++batch;
}

/// A listener's whole life on this thread.
std::vector<Step> RunListener(const Plan& plan) {
  SCOPED_TRACE(Describe(plan));
  const Model model(plan);
  scripted::ResetPlatform();
  TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  TheThreads().RunAlone();
  ThePipes().Listen(kNotifyPipe);
  Delivered().clear();
  std::vector<Step> steps;
  {
    RpcClient client([](RpcClient&) {});
    client.event_callback = [](ZorEvent* event) {
      Delivered().push_back(static_cast<int>(event->data.event1.value));
    };
    std::size_t batch = 0;
    TheCalls().Before(Function::kSleep, [&] { SendNext(client, batch); });
    Inject(plan);
    RunNotifyListener(client);
    steps = TheCalls().TakeSteps();
    TheCalls().Before(Function::kSleep, {});
  }
  EXPECT_EQ(ThePipes().OpenCount(), 0);
  if (model.in_byte_mode) {
    EXPECT_THAT(Delivered(), ::testing::Not(::testing::IsEmpty()));
    return steps;
  }
  EXPECT_EQ(Describe(steps), Describe(model.steps()));
  EXPECT_EQ(Delivered(), model.delivered);
  EXPECT_EQ(TheOutput().TakeNarrow(), model.log);
  EXPECT_EQ(ThePipes().AbandonedCount(), model.abandoned);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), model.closed + 1);  // the unload's
  return steps;
}

TEST(FaultsOfTheListener, NoneDeliversEverythingButTheOversizedMessage) {
  RunListener({});
  EXPECT_THAT(Delivered(), ::testing::ElementsAre(1, 2, 3, 4, 5));
}

TEST(FaultsOfTheListener, OneByOne) {
  Tally("single faults in the listener", ForEachPlan(1, 0, RunListener));
}

TEST(FaultsOfTheListener, InPairs) {
  Tally("pairs of faults in the listener", ForEachPlan(2, 0, RunListener));
}

}  // namespace
}  // namespace zor::faults
