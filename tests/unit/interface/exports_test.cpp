// What the exports add to the calls: the translation of algorithm ids, and the callback.
#include <gmock/gmock.h>

#include <optional>

#include "messages/reply.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

constexpr const char* kAlgorithm = "supproted_algo_name";

class Exports : public CallTest {
 protected:
  /// What an enumeration leaves when "private" is not present locally.
  static void FillTable() {
    TheLibrary().algorithm_ids = {{"general", 10, 0}, {"private", 11, -1}, {"whisper", 12, 2}};
  }

  static std::optional<float> SentValue() {
    const auto written = ThePipes().TakeWritten(kRequestPipe);
    if (written.empty()) return std::nullopt;
    return messages::CheckReply(written.back())->float_param()->value();
  }
};

TEST_F(Exports, SetOfAnAlgorithmSendsTheServersIdAndLeavesItInTheRecord) {
  FillTable();
  AnswerWith(Build(Reply{}));
  ZorFloatParam param{kAlgorithm, 2.0F};
  EXPECT_EQ(ZorIntfSet(5, &param), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 12.0F);
  EXPECT_EQ(param.value, 12.0F);
}

TEST_F(Exports, SetOfAnAlgorithmHasTranslatedTheRecordEvenWithoutAServer) {
  FillTable();
  ZorFloatParam param{kAlgorithm, 0.0F};
  EXPECT_EQ(ZorIntfSet(5, &param), ZOR_NOT_CONNECTED);
  EXPECT_EQ(param.value, 10.0F);
}

TEST_F(Exports, TheFirstRowThatMatchesWins) {
  TheLibrary().algorithm_ids = {{"a", 10, 1}, {"b", 11, 1}, {"c", 10, 2}};
  AnswerWith(Build(Reply{}));
  ZorFloatParam param{kAlgorithm, 1.0F};
  EXPECT_EQ(ZorIntfSet(5, &param), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 10.0F);
  EXPECT_EQ(ZorIntfGet(5, &param), ZOR_SUCCESS);
  EXPECT_EQ(param.value, 1.0F);
}

TEST_F(Exports, GetOfAnAlgorithmTranslatesTheServersId) {
  FillTable();
  AnswerWith(Build(Reply{.float_param = 12.0F}));
  ZorFloatParam param{kAlgorithm, 0.0F};
  EXPECT_EQ(ZorIntfGet(5, &param), ZOR_SUCCESS);
  EXPECT_EQ(param.value, 2.0F);
}

TEST_F(Exports, RegisteringACallbackReturns0WithoutAServerAndSendsNothing) {
  const auto callback = [](ZorEvent*) {};
  EXPECT_EQ(ZorIntfRegEventCallback(callback), ZOR_SUCCESS);
  EXPECT_EQ(TheLibrary().client.event_callback.load(), ZorEventCallback{callback});
  EXPECT_EQ(ZorIntfRegEventCallback(nullptr), ZOR_SUCCESS);
  EXPECT_EQ(TheLibrary().client.event_callback.load(), nullptr);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 0);
}

TEST_F(Exports, NothingButTheCallsOwnChannelIsUsed) {
  ThePipes().Listen(kNotifyPipe);
  AnswerWith(Build(Reply{}));
  EXPECT_EQ(ZorIntfStart(1), ZOR_SUCCESS);
  EXPECT_EQ(TheLibrary().client.notify->handle.load(), platform::PipeHandle::kInvalid);
}

}  // namespace
}  // namespace zor::scripted
