// What holds for every remote call, tested on each of the twelve.
#include <gmock/gmock.h>

#include <map>
#include <new>
#include <string>

#include "messages/reply.h"
#include "tests/support/exact_block.h"
#include "tests/support/library_test.h"
#include "tests/support/remote_exports.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

constexpr std::size_t kReplyLimit = 1024;

class EveryCall : public CallTest, public ::testing::WithParamInterface<RemoteExport> {
 protected:
  /// Makes the call, on fresh outputs.
  static ZorResult Call() {
    OwnedOutputs outputs;
    return GetParam().call(outputs.get());
  }

  /// Makes the call, which must fail with `result`, log exactly `log`, and write no output.
  static void ExpectFailure(ZorResult result, const std::vector<std::string>& log) {
    OwnedOutputs outputs;
    EXPECT_EQ(GetParam().call(outputs.get()), result);
    EXPECT_TRUE(outputs.Untouched());
    EXPECT_EQ(TheOutput().TakeNarrow(), log);
  }

  static std::vector<std::string> InvalidLine() {
    return {std::string("[zor] [") + GetParam().tag + "] The IPC gotten data is invalid\n"};
  }

  /// The call has succeeded once, so the request channel is connected.
  static void Connect() {
    AnswerWith(GetParam().reply());
    ASSERT_EQ(Call(), ZOR_SUCCESS);
    static_cast<void>(TheCalls().Take());
    static_cast<void>(TheOutput().TakeNarrow());
    static_cast<void>(ThePipes().TakeWritten(kRequestPipe));
  }

  static Bytes Padded(Bytes reply, std::size_t size) {
    reply.resize(size);
    return reply;
  }
};

TEST_P(EveryCall, SendsItsOwnNameStatus7AndNoResult) {
  Connect();
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  const auto written = ThePipes().TakeWritten(kRequestPipe);
  ASSERT_EQ(written.size(), 1U);
  const auto* request = messages::CheckReply(written[0]);
  ASSERT_NE(request, nullptr);
  EXPECT_THAT(request->func_name()->c_str(), StrEq(GetParam().name));
  EXPECT_EQ(request->status(), 7);
  EXPECT_EQ(request->result(), 0U);
  EXPECT_EQ(request->server_info(), nullptr);
  EXPECT_EQ(request->event(), nullptr);
  EXPECT_EQ(request->blob_result(), nullptr);
  EXPECT_EQ(request->enum_result(), nullptr);
}

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

TEST_P(EveryCall, ConnectsOnceAndLogsThatOnce) {
  AnswerWith(GetParam().reply());
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] ConnectToServer() was successful.\n"));
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 1);
}

TEST_P(EveryCall, Returns2AndWritesNothingWithoutAServerAndTriesAgainNextTime) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    ExpectFailure(ZOR_NOT_CONNECTED, {"[zor] Error occurred while connecting to the server: 2\n"});
    EXPECT_THAT(
        TheCalls().Take(),
        ElementsAre("OpenPipe \\\\.\\Pipe\\ZorSWNRpipe -> error 2",
                    "DebugOutput [zor] Error occurred while connecting to the server: 2\n"));
  }
  AnswerWith(GetParam().reply());
  EXPECT_EQ(Call(), ZOR_SUCCESS);
}

TEST_P(EveryCall, Returns2WhenThePipeIsBusy) {
  ThePipes().Busy(kRequestPipe);
  ExpectFailure(ZOR_NOT_CONNECTED, {"[zor] Error occurred while connecting to the server: 231\n"});
}

TEST_P(EveryCall, OpensAFreshHandleAfterTheServerHasRestarted) {
  Connect();
  ThePipes().CloseConnections(kRequestPipe);
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] ConnectToServer() was successful.\n"));
  ExpectAbandoned(1);
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

TEST_P(EveryCall, AcceptsAReplyOfExactly1024Bytes) {
  AnswerWith(Padded(GetParam().reply(), kReplyLimit));
  EXPECT_EQ(Call(), ZOR_SUCCESS);
}

TEST_P(EveryCall, Returns1OnAReplyOf1025BytesWhoseLastByteIsTheNextCallsReply) {
  Connect();
  AnswerWith(Padded(GetParam().reply(), kReplyLimit + 1));
  ExpectFailure(ZOR_TRANSPORT_FAILURE, {});
  EXPECT_EQ(ThePipes().Waiting(kRequestPipe), 1U);

  AnswerWith(GetParam().reply());
  static_cast<void>(TheCalls().Take());
  ExpectFailure(ZOR_TRANSPORT_FAILURE, InvalidLine());
  EXPECT_EQ(TheCalls().Take()[2], "ReadPipe #4 1024 -> 1");
}

TEST_P(EveryCall, RejectsAReplyOfFewerThanSixBytesAfterAGoodOneOnTheSameStack) {
  const Bytes good = GetParam().reply();
  for (std::size_t size = 0; size <= 5; ++size) {
    Connect();
    AnswerWith(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
    ExpectFailure(ZOR_TRANSPORT_FAILURE, InvalidLine());
  }
}

TEST_P(EveryCall, RejectsEveryTruncationOfItsReply) {
  Connect();
  ForEachTruncation(GetParam().reply(), [](std::span<const std::uint8_t> bytes) {
    AnswerWith(Bytes(bytes.begin(), bytes.end()));
    ExpectFailure(ZOR_TRANSPORT_FAILURE, InvalidLine());
  });
}

TEST_P(EveryCall, RejectsGarbage) {
  Connect();
  const Bytes text(300, 'z');
  const Bytes ones(1024, 0xFF);
  Bytes ramp(256);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint8_t>(i + 5);
  for (const Bytes& garbage : {text, ones, ramp}) {
    AnswerWith(garbage);
    ExpectFailure(ZOR_TRANSPORT_FAILURE, InvalidLine());
  }
}

TEST_P(EveryCall, PassesTheServersResultThroughAndLogsItSigned) {
  Connect();
  for (const std::uint32_t result : {1U, 2U, 3U, 4U, 5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    // With all its outputs, of which none may be taken.
    AnswerWith(Build(Reply{.server_info = messages::ServerInfo(1, 2, 3, 4),
                           .enum_result = Reply::Names{1, {{"general"}}},
                           .float_param = 2.5F,
                           .status = 255,
                           .handle = 77,
                           .result = result,
                           .blob_result = Reply::Block{"preset", 1, Bytes{1}}}));
    ExpectFailure(result, {std::string("[zor] [") + GetParam().tag + "] The ZorRet: " +
                           std::to_string(static_cast<std::int32_t>(result)) + "\n"});
  }
}

TEST_P(EveryCall, TakesAnAbsentResultAndAResultOf0AsSuccess) {
  Connect();
  AnswerWith(Build(Reply{}));
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  AnswerWith(Build(Reply{.with_defaults = true}));
  EXPECT_EQ(Call(), ZOR_SUCCESS);
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
}

TEST_P(EveryCall, DoesNotLookAtTheNameInTheReply) {
  AnswerWith(Build(Reply{.func_name = "SomethingElse"}));
  EXPECT_EQ(Call(), ZOR_SUCCESS);
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
      const ZorResult result = GetParam().call(outputs.get());
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
                         ::testing::ValuesIn(RemoteExports().begin(), RemoteExports().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

}  // namespace
}  // namespace zor::scripted
