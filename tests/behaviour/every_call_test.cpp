// What holds for every remote call, on each of the twelve.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/kit/remote_calls.h"
#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Padded;
using testing::RemoteCall;
using testing::Request;

const char* const kConnected = "[zor] ConnectToServer() was successful.\n";
const char* const kAbsent = "[zor] Error occurred while connecting to the server: 2\n";
constexpr std::size_t kReplyLimit = 1024;

class EveryCall : public ::testing::TestWithParam<RemoteCall> {
 protected:
  /// Makes the call, which must succeed and take what `reply` has for it.
  void Succeed(const Bytes& reply) {
    testing::OwnedOutputs outputs;
    EXPECT_EQ(GetParam().call(library_.exports(), outputs.records()), ZOR_SUCCESS);
    const auto took = GetParam().took(*messages::GetCallMessage(reply.data()), outputs.records());
    EXPECT_TRUE(took.value_or(outputs.Untouched()));
    EXPECT_TRUE(outputs.CanariesIntact());
  }
  void Succeed(RequestServer& server, const Bytes& reply = GetParam().reply()) {
    server.Answer(reply);
    Succeed(reply);
  }

  /// Makes the call, which must fail with `result`, log exactly `log`, and write no output.
  void Fail(ZorResult result, const std::vector<std::string>& log) {
    rig_.log().Clear();
    testing::OwnedOutputs outputs;
    EXPECT_EQ(GetParam().call(library_.exports(), outputs.records()), result);
    EXPECT_TRUE(outputs.Untouched());
    EXPECT_EQ(rig_.log().Mine(), log);
  }
  void Fail(RequestServer& server, const Bytes& reply) {
    server.Answer(reply);
    Fail(ZOR_TRANSPORT_FAILURE, {Tagged("] The IPC gotten data is invalid\n")});
  }

  static std::string Tagged(const std::string& text) {
    return std::string("[zor] [") + GetParam().tag + text;
  }

  Rig rig_;
  Library library_;
};

TEST_P(EveryCall, WithoutAServerReturns2AndTriesAnew) {
  Fail(ZOR_NOT_CONNECTED, {kAbsent});
  Fail(ZOR_NOT_CONNECTED, {kAbsent});
  RequestServer server;
  Succeed(server);
}

TEST_P(EveryCall, WithABusyServerReturns2) {
  const BusyPipe busy(Pipe::kRequests);
  Fail(ZOR_NOT_CONNECTED, {"[zor] Error occurred while connecting to the server: 231\n"});
}

TEST_P(EveryCall, ConnectsOnceAndLogsThatOnly) {
  RequestServer server;
  Succeed(server);
  Succeed(server);
  EXPECT_THAT(rig_.log().Mine(), ElementsAre(kConnected));
  EXPECT_EQ(server.connections(), 1);
}

TEST_P(EveryCall, SendsOneRequestWithItsNameAndNoAnswer) {
  RequestServer server;
  Succeed(server);
  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 1U);
  const Request request(requests.front());
  EXPECT_STREQ(request->func_name()->c_str(), GetParam().name);
  EXPECT_EQ(request->status(), 7);
  EXPECT_EQ(request->result(), 0U);
  EXPECT_EQ(request->server_info(), nullptr);
  EXPECT_EQ(request->event(), nullptr);
  EXPECT_EQ(request->blob_result(), nullptr);
  EXPECT_EQ(request->enum_result(), nullptr);
}

TEST_P(EveryCall, OpensAFreshHandleAfterTheServersRestart) {
  for (int restart = 0; restart < 2; ++restart) {
    RequestServer server;
    Succeed(server);
  }
  EXPECT_THAT(rig_.log().Mine(), ElementsAre(kConnected, kConnected));
}

TEST_P(EveryCall, ThatGetsNoAnswerReturns1AndLogsNothing) {
  RequestServer server;
  Succeed(server);
  server.HangUp();
  Fail(ZOR_TRANSPORT_FAILURE, {});
  Succeed(server);
}

TEST_P(EveryCall, AcceptsAReplyOf1024Bytes) {
  RequestServer server;
  Succeed(server, Padded(GetParam().reply(), kReplyLimit));
}

TEST_P(EveryCall, LeavesTheLastOf1025BytesToTheNextCall) {
  RequestServer server;
  Succeed(server);
  server.Answer(Padded(GetParam().reply(), kReplyLimit + 1));
  Fail(ZOR_TRANSPORT_FAILURE, {});
  server.Answer(GetParam().reply());
  Fail(ZOR_TRANSPORT_FAILURE, {Tagged("] The IPC gotten data is invalid\n")});
  // From here on each call reads the reply to the one before.
  Succeed(GetParam().reply());
  EXPECT_EQ(server.connections(), 1);
}

TEST_P(EveryCall, RejectsEveryTruncationOfItsReply) {
  RequestServer server;
  Succeed(server);
  const Bytes good = GetParam().reply();
  for (std::size_t size = 0; size < good.size(); ++size) {
    SCOPED_TRACE(size);
    Fail(server, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
    // The good reply's bytes are then on the stack of the next call.
    if (size <= 8) Succeed(server);
  }
}

TEST_P(EveryCall, RejectsGarbage) {
  RequestServer server;
  Succeed(server);
  Bytes ramp(256);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint8_t>(i + 5);
  for (const Bytes& garbage : {Bytes(300, 'z'), Bytes(1024, 0xFF), ramp, Bytes{4, 0, 0, 0, 0}}) {
    Fail(server, garbage);
  }
}

TEST_P(EveryCall, ReturnsTheServersResultAndTakesNothing) {
  RequestServer server;
  Succeed(server);
  for (const std::uint32_t result : {1U, 2U, 3U, 4U, 5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    server.Answer(testing::FullReply(result));
    Fail(result,
         {Tagged("] The ZorRet: " + std::to_string(static_cast<std::int32_t>(result)) + "\n")});
  }
}

TEST_P(EveryCall, TakesAnAbsentResultAndA0AsSuccess) {
  RequestServer server;
  Succeed(server, Build(Reply{}));
  Succeed(server, Build(Reply{.with_defaults = true}));
  EXPECT_THAT(rig_.log().Mine(), ElementsAre(kConnected));
}

TEST_P(EveryCall, DoesNotLookAtTheReplysName) {
  RequestServer server;
  Succeed(server, Build(Reply{.func_name = "SomethingElse"}));
  Succeed(server, Build(Reply{.func_name = {}}));
}

INSTANTIATE_TEST_SUITE_P(Exports, EveryCall,
                         ::testing::ValuesIn(testing::RemoteCalls().begin(),
                                             testing::RemoteCalls().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

}  // namespace
}  // namespace zor::rig
