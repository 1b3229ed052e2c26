// Every remote call as the platform sees it, tested on each of the twelve.
#include <gmock/gmock.h>

#include <map>
#include <new>
#include <string>

#include "tests/kit/remote_calls.h"
#include "tests/support/exact_block.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EveryCall : public CallTest, public ::testing::WithParamInterface<RemoteCall> {
 protected:
  /// Makes the call, on fresh outputs.
  static ZorResult Call() {
    OwnedOutputs outputs;
    return GetParam().call(LinkedExports(), outputs.records());
  }

  /// Makes the call, which must fail with `result`, log exactly `log`, and write no output.
  static void ExpectFailure(ZorResult result, const std::vector<std::string>& log) {
    OwnedOutputs outputs;
    EXPECT_EQ(GetParam().call(LinkedExports(), outputs.records()), result);
    EXPECT_TRUE(outputs.Untouched());
    EXPECT_EQ(TheOutput().TakeNarrow(), log);
  }

  /// The call has succeeded once, so the request channel is connected.
  static void Connect() {
    AnswerWith(GetParam().reply());
    ASSERT_EQ(Call(), ZOR_SUCCESS);
    static_cast<void>(TheCalls().Take());
    static_cast<void>(TheOutput().TakeNarrow());
    static_cast<void>(ThePipes().TakeWritten(kRequestPipe));
  }
};

TEST_P(EveryCall, MakesOnePeekOneWriteAndOneReadAndLogsNothingWhenConnected) {
  Connect();
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  const auto written = ThePipes().TakeWritten(kRequestPipe);
  ASSERT_EQ(written.size(), 1U);
  EXPECT_THAT(TheCalls().Take(),
              ElementsAre("PeekPipe #4 -> ok",
                          "WritePipe #4 " + std::to_string(written[0].size()) + " -> ok",
                          "ReadPipe #4 1024 -> " + std::to_string(GetParam().reply().size())));
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
}

TEST_P(EveryCall, MakesNoMoreOfThemHoweverOftenItIsMade) {
  Connect();
  constexpr int kCalls = 100;
  const auto count = [](Function function) { return TheCalls().Count(function); };
  const int peeks = count(Function::kPeekPipe);
  const int writes = count(Function::kWritePipe);
  const int reads = count(Function::kReadPipe);
  for (int i = 0; i < kCalls; ++i) ASSERT_EQ(Call(), ZOR_SUCCESS);
  EXPECT_EQ(count(Function::kPeekPipe) - peeks, kCalls);
  EXPECT_EQ(count(Function::kWritePipe) - writes, kCalls);
  EXPECT_EQ(count(Function::kReadPipe) - reads, kCalls);
  EXPECT_EQ(count(Function::kOpenPipe), 1);
  EXPECT_EQ(count(Function::kDebugOutput), 1);  // that of connecting
}

TEST_P(EveryCall, Returns1WithoutReadingOrLoggingWhenTheWriteFails) {
  Connect();
  TheCalls().Fail(Function::kWritePipe, kErrorNoData);
  const int reads = TheCalls().Count(Function::kReadPipe);
  ExpectFailure(ZOR_TRANSPORT_FAILURE, {});
  EXPECT_EQ(TheCalls().Count(Function::kReadPipe), reads);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  EXPECT_EQ(Call(), ZOR_SUCCESS);  // on the same handle
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 1);
}

TEST_P(EveryCall, Returns1WithoutRetryingOrLoggingWhenTheReadFails) {
  Connect();
  TheCalls().Fail(Function::kReadPipe, kErrorBrokenPipe);
  const int writes = TheCalls().Count(Function::kWritePipe);
  ExpectFailure(ZOR_TRANSPORT_FAILURE, {});
  EXPECT_EQ(TheCalls().Count(Function::kWritePipe), writes + 1);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 1);
}

TEST_P(EveryCall, ClosesNothingHoweverItEnds) {
  Connect();
  const Bytes garbage(100, 0xFF);
  for (const Bytes& reply : {GetParam().reply(), garbage, Build(Reply{.result = 9})}) {
    AnswerWith(reply);
    static_cast<void>(Call());
  }
  EXPECT_EQ(TheCalls().Count(Function::kDisconnectPipe), 0);
  EXPECT_EQ(TheCalls().Count(Function::kClosePipe), 0);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 1);
}

TEST_P(EveryCall, WritesNoOutputUnlessItReturns0WhateverByteOfItsReplyIsChanged) {
  Connect();
  TheCalls().StopRecording();
  std::map<ZorResult, int> results;
  int out_of_memory = 0;
  ForEachMutation(GetParam().reply(), [&](std::span<const std::uint8_t> bytes) {
    AnswerWith(Bytes(bytes.begin(), bytes.end()));
    OwnedOutputs outputs;
    try {
      const ZorResult result = GetParam().call(LinkedExports(), outputs.records());
      ++results[result];
      // The one exception: a block that there is no memory for.
      const bool no_memory = result == ZOR_TRANSPORT_FAILURE && outputs.get().blob.data == nullptr;
      EXPECT_TRUE(result == ZOR_SUCCESS || no_memory || outputs.Untouched());
    } catch (const std::bad_alloc&) {
      ++out_of_memory;  // a list that is said to have millions of names
    }
    EXPECT_TRUE(outputs.CanariesIntact());
  });
  EXPECT_GT(results[ZOR_SUCCESS], 0);
  EXPECT_GT(results[ZOR_TRANSPORT_FAILURE], 0);
  EXPECT_EQ(out_of_memory > 0, std::string(GetParam().name) == "ZorIntfEnum");
}

INSTANTIATE_TEST_SUITE_P(Exports, EveryCall,
                         ::testing::ValuesIn(RemoteCalls().begin(), RemoteCalls().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

}  // namespace
}  // namespace zor::scripted
