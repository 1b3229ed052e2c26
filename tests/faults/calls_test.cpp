// Every remote call, with every fault of the platform and every two of them, against a model that
// says what the call must then do.
#include <gmock/gmock.h>

#include <cstring>
#include <new>
#include <tuple>

#include "tests/faults/plan.h"
#include "tests/faults/tally.h"
#include "tests/kit/remote_calls.h"
#include "tests/support/library_test.h"

namespace zor::faults {
namespace {

using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using testing::Build;
using testing::Bytes;
using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;
using testing::Reply;

enum class Channel { kNew, kConnected, kServerGone };
enum class Answer { kGood, kRefusal, kGarbage };

const char* NameOf(Channel channel) {
  static constexpr const char* kNames[] = {"New", "Connected", "ServerGone"};
  return kNames[static_cast<int>(channel)];
}

const char* NameOf(Answer answer) {
  static constexpr const char* kNames[] = {"Good", "Refusal", "Garbage"};
  return kNames[static_cast<int>(answer)];
}

void PrintTo(Channel channel, std::ostream* out) { *out << NameOf(channel); }
void PrintTo(Answer answer, std::ostream* out) { *out << NameOf(answer); }

/// What the call finds.
struct Situation {
  const RemoteCall* remote = nullptr;
  Channel channel = Channel::kNew;
  Answer answer = Answer::kGood;
};

/// What the call must do about it.
class Model {
 public:
  Model(const Situation& situation, const Plan& plan) : situation_(situation), steps_(plan) {
    Call();
  }

  [[nodiscard]] const std::vector<Step>& steps() const { return steps_.steps(); }

  ZorResult result = ZOR_SUCCESS;
  bool out_of_memory = false;
  int abandoned = 0;
  int open = 0;
  std::vector<std::string> log;
  bool has_slots = true;   ///< of the list
  std::size_t listed = 0;  ///< names that are in the list
  bool takes_block = false;
  bool name_copied = false;
  bool data_copied = false;

 private:
  void Log(const std::string& line) {
    if (steps_.Fails(Function::kHeapAllocate)) return;
    const bool measured = !steps_.Fails(Function::kFormattedLength);
    if (steps_.Fails(Function::kHeapAllocate)) return;
    if (measured) log.push_back("[zor] " + line + "\n");
  }

  bool Connect() {
    if (situation_.channel != Channel::kNew) {
      const bool gone = situation_.channel == Channel::kServerGone;
      if (!steps_.Fails(Function::kPeekPipe) && !gone) {
        open = 1;
        return true;
      }
      abandoned = 1;
    }
    if (const auto error = steps_.Next(Function::kOpenPipe)) {
      Log("Error occurred while connecting to the server: " + std::to_string(*error));
      return false;
    }
    open = 1;
    Log("ConnectToServer() was successful.");
    steps_.Next(Function::kSetMessageReadMode);
    return true;
  }

  void Call() {
    result = ZOR_NOT_CONNECTED;
    if (!Connect()) return;
    result = ZOR_TRANSPORT_FAILURE;
    if (steps_.Fails(Function::kWritePipe) || steps_.Fails(Function::kReadPipe)) return;
    const std::string tag = std::string("[") + situation_.remote->tag + "] ";
    if (situation_.answer == Answer::kGarbage) {
      Log(tag + "The IPC gotten data is invalid");
      return;
    }
    if (situation_.answer == Answer::kRefusal) {
      result = 5;
      Log(tag + "The ZorRet: 5");
      return;
    }
    result = ZOR_SUCCESS;
    TakeOutputs();
  }

  void TakeOutputs() {
    const std::string name = situation_.remote->name;
    if (name == "ZorIntfEnum") {
      out_of_memory = steps_.Fails(Function::kHeapAllocate);
      has_slots = !out_of_memory;
      while (!out_of_memory && listed < 2) {
        out_of_memory = steps_.Fails(Function::kHeapAllocate);
        if (!out_of_memory) ++listed;
      }
    } else if (name == "ZorIntfGetSerialized") {
      takes_block = true;
      name_copied = !steps_.Fails(Function::kHeapAllocate);
      data_copied = !steps_.Fails(Function::kHeapAllocate);
      if (!data_copied) result = ZOR_TRANSPORT_FAILURE;
    }
  }

  Situation situation_;
  ExpectedSteps steps_;
};

Bytes AnswerOf(const Situation& situation) {
  switch (situation.answer) {
    case Answer::kGood:
      return situation.remote->reply();
    case Answer::kRefusal:
      return Build(Reply{.handle = 7, .result = 5});
    default:
      return Bytes(100, 0xEE);
  }
}

class FaultsOfCalls : public ::testing::TestWithParam<std::tuple<RemoteCall, Channel, Answer>> {
 protected:
  Situation situation_{&std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam())};

  /// One call on a fresh library.
  std::vector<Step> Run(const Plan& plan) const {
    SCOPED_TRACE(Describe(plan));
    scripted::ResetPlatform();
    TheThreads().SetBegin(scripted::Threads::Begin::kNever);
    std::vector<Step> steps;
    const Model model(situation_, plan);
    {
      const scripted::LoadedLibrary library;
      Prepare();
      OwnedOutputs outputs;
      Inject(plan);
      Call(model, outputs);
      steps = TheCalls().TakeSteps();
      EXPECT_EQ(Describe(steps), Describe(model.steps()));
      EXPECT_EQ(TheOutput().TakeNarrow(), model.log);
      EXPECT_EQ(ThePipes().OpenCount(), model.open);
      CallAgain();
    }
    EXPECT_EQ(ThePipes().OpenCount(), 0);
    EXPECT_EQ(ThePipes().AbandonedCount(), model.abandoned);
    EXPECT_EQ(TheHeap().BlockCount(), 0U);
    EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 1);
    return steps;
  }

 private:
  void Prepare() const {
    ThePipes().Listen(kRequestPipe, [answer = AnswerOf(situation_)](const Bytes&) {
      return std::vector<Bytes>{answer};
    });
    if (situation_.channel == Channel::kNew) return;
    OwnedOutputs connecting;
    static_cast<void>(situation_.remote->call(scripted::LinkedExports(), connecting.records()));
    if (situation_.channel == Channel::kServerGone) ThePipes().CloseConnections(kRequestPipe);
    static_cast<void>(TheOutput().TakeNarrow());
  }

  void Call(const Model& model, OwnedOutputs& outputs) const {
    bool thrown = false;
    try {
      EXPECT_EQ(situation_.remote->call(scripted::LinkedExports(), outputs.records()),
                model.result);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_EQ(thrown, model.out_of_memory);
    EXPECT_TRUE(outputs.CanariesIntact());
    const bool writes = model.result == ZOR_SUCCESS || model.takes_block;
    EXPECT_TRUE(writes || outputs.Untouched());
    if (writes && situation_.answer == Answer::kGood) CheckOutputs(model, outputs);
  }

  /// What is in the good reply of the call.
  void CheckOutputs(const Model& model, OwnedOutputs& outputs) const {
    const std::string name = situation_.remote->name;
    const testing::Outputs& written = outputs.get();
    if (name == "ZorIntfCreate") {
      EXPECT_EQ(written.handle, 77U);
    } else if (name == "ZorIntfGetStatus") {
      EXPECT_EQ(written.status, 255U);
    } else if (name == "ZorIntfGet" || name == "ZorIntfSet") {
      EXPECT_EQ(written.param.value, 2.5F);
    } else if (name == "ZorIntfGetInfo") {
      EXPECT_EQ(written.info.info0, 1U);
      EXPECT_EQ(written.info.info1, 2U);
      EXPECT_EQ(written.info.info2, 3U);
      EXPECT_EQ(written.info.info3, 4U);
    } else if (name == "ZorIntfEnum") {
      CheckList(model, written.list);
    } else if (name == "ZorIntfGetSerialized") {
      EXPECT_EQ(written.blob.name != nullptr, model.name_copied);
      EXPECT_EQ(written.blob.data != nullptr, model.data_copied);
      EXPECT_EQ(written.blob.size, 3U);
    } else {
      EXPECT_TRUE(outputs.Untouched());
    }
  }

  /// Whatever is in the list is the server's, and the list can be freed.
  static void CheckList(const Model& model, const ZorNameList& list) {
    static constexpr const char* kNames[] = {"general", "private"};
    EXPECT_EQ(list.count, model.has_slots ? 2U : 0U);
    for (std::uint32_t i = 0; i < list.count; ++i) {
      if (i < model.listed) {
        EXPECT_STREQ(list.items[i], kNames[i]);
      } else {
        EXPECT_EQ(list.items[i], nullptr);
      }
    }
  }

  /// Whatever has failed, the next call finds its way.
  void CallAgain() const {
    OwnedOutputs outputs;
    const ZorResult expected = situation_.answer == Answer::kGood      ? ZOR_SUCCESS
                               : situation_.answer == Answer::kRefusal ? 5
                                                                       : ZOR_TRANSPORT_FAILURE;
    EXPECT_EQ(situation_.remote->call(scripted::LinkedExports(), outputs.records()), expected);
  }
};

TEST_P(FaultsOfCalls, OneByOne) {
  const auto runs = ForEachPlan(1, 0, [this](const Plan& plan) { return Run(plan); });
  Tally("single faults in calls", runs);
}

TEST_P(FaultsOfCalls, InPairs) {
  const auto runs = ForEachPlan(2, 0, [this](const Plan& plan) { return Run(plan); });
  Tally("pairs of faults in calls", runs);
}

std::string TestName(const ::testing::TestParamInfo<FaultsOfCalls::ParamType>& info) {
  const auto& [remote, channel, answer] = info.param;
  return std::string(remote.name) + "_" + NameOf(channel) + "_" + NameOf(answer);
}

INSTANTIATE_TEST_SUITE_P(
    Exports, FaultsOfCalls,
    ::testing::Combine(::testing::ValuesIn(RemoteCalls().begin(), RemoteCalls().end()),
                       ::testing::Values(Channel::kNew, Channel::kConnected, Channel::kServerGone),
                       ::testing::Values(Answer::kGood, Answer::kRefusal, Answer::kGarbage)),
    TestName);

}  // namespace
}  // namespace zor::faults
