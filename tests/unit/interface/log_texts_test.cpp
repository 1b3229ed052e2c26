// Every text that the calls and the listener can log, verbatim. They are spelt as they are: tools
// look for them, do not correct them.
#include <gmock/gmock.h>

#include <set>
#include <string>

#include "tests/kit/remote_calls.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;

using ::testing::UnorderedElementsAre;

TEST_F(ListenerTest, AllTheTextsOfTheLog) {
  std::set<std::string> texts;
  const auto take = [&texts] {
    for (std::string& line : TheOutput().TakeNarrow()) texts.insert(std::move(line));
  };
  const auto answer_with = [](const Bytes& reply) {
    ThePipes().Listen(kRequestPipe, [reply](const Bytes&) { return std::vector<Bytes>{reply}; });
  };

  // No server, for either side.
  Load();
  ASSERT_EQ(TheThreads().WaitForPause(), 1U);
  EXPECT_EQ(ZorIntfStart(1), ZOR_NOT_CONNECTED);
  take();

  // Connected, with a notification of the library's and another.
  ThePipes().Listen(kNotifyPipe);
  ASSERT_EQ(TheThreads().RunToPause(), 100U);
  ThePipes().Send(kNotifyPipe, Build(Notification{.type = 1}));
  ThePipes().Send(kNotifyPipe, Build(Notification{.type = 1, .func_name = "Other"}));
  ASSERT_EQ(TheThreads().RunToPause(), 100U);
  take();

  // Every call with a reply that is none, with a refusal, and with success.
  for (const RemoteCall& remote : RemoteCalls()) {
    OwnedOutputs outputs;
    answer_with(Bytes(3));
    EXPECT_EQ(remote.call(LinkedExports(), outputs.records()), ZOR_TRANSPORT_FAILURE);
    answer_with(Build(Reply{.result = 0xFFFFFFFE}));
    EXPECT_EQ(remote.call(LinkedExports(), outputs.records()), 0xFFFFFFFEU);
    answer_with(remote.reply());
    EXPECT_EQ(remote.call(LinkedExports(), outputs.records()), ZOR_SUCCESS);
  }
  take();

  EXPECT_THAT(
      texts,
      UnorderedElementsAre(
          "[zor] Error occurred while connecting to the server: 2\n",
          "[zor] ConnectToServer() was successful.\n", "[zor] Connection was fail.\n",
          "[zor] Connection was successful.\n",
          "[zor] Recieve data from notify channel: ZorIntfNotify\n",
          "[zor] Recieve data from notify channel: Other\n",
          "[zor] [RpcClient::ZorIntfConfig] The IPC gotten data is invalid\n",
          "[zor] [RpcClient::ZorIntfCreate] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfDestroy] The IPC gotten data is invalid\n",
          "[zor] [RpcClient::ZorIntfEnum] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfGet] The IPC gotten data is invalid\n",
          "[zor] [RpcClient::ZorIntfGetInfo] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfGetSerialized] The IPC gotten data is invalid\n",
          "[zor] [RpcClient::ZorIntfGetStatus] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfSet] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfSetSerialized] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfStart] The IPC gotten data is invalid\n",
          "[zor] [ZorIntfStop] The IPC gotten data is invalid\n",
          "[zor] [RpcClient::ZorIntfConfig] The ZorRet: -2\n",
          "[zor] [RpcClient::ZorIntfCreate] The ZorRet: -2\n",
          "[zor] [ZorIntfDestroy] The ZorRet: -2\n",
          "[zor] [RpcClient::ZorIntfEnum] The ZorRet: -2\n", "[zor] [ZorIntfGet] The ZorRet: -2\n",
          "[zor] [RpcClient::ZorIntfGetInfo] The ZorRet: -2\n",
          "[zor] [ZorIntfGetSerialized] The ZorRet: -2\n",
          "[zor] [RpcClient::ZorIntfGetStatus] The ZorRet: -2\n",
          "[zor] [ZorIntfSet] The ZorRet: -2\n", "[zor] [ZorIntfSetSerialized] The ZorRet: -2\n",
          "[zor] [ZorIntfStart] The ZorRet: -2\n", "[zor] [ZorIntfStop] The ZorRet: -2\n"));
}

}  // namespace
}  // namespace zor::scripted
