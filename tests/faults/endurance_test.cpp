// Very many calls, notifications and enumerations, after which nothing is left. A program of its
// own: it replaces operator new.
#include <gtest/gtest.h>

#include <string>

#include "notify/notify_listener.h"
#include "tests/faults/tally.h"
#include "tests/kit/remote_calls.h"
#include "tests/support/allocations.h"
#include "tests/support/library_test.h"
#include "tests/support/machine_test.h"

namespace zor::faults {
namespace {

using scripted::Function;
using scripted::LiveBlocks;
using scripted::LiveBytes;
using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;
using testing::Build;
using testing::Bytes;
using testing::Notification;
using testing::OwnedOutputs;
using testing::RemoteCalls;

class Endurance : public scripted::MachineTest {
 protected:
  /// What the scripted platform keeps for tests that ask.
  static void ForgetTheRecords() {
    TheOutput().Reset();
    static_cast<void>(ThePipes().TakeWritten(kRequestPipe));
    scripted::TheDrivers().calls.clear();
    scripted::TheModules().calls.clear();
    scripted::TheDirectories().listed.clear();
  }
};

TEST_F(Endurance, OfCallsLeavesNothing) {
  const std::size_t rounds = Scaled(500, 1'000'000 / RemoteCalls().size() + 1);
  TheCalls().StopRecording();
  // The replies of a good server, of one that refuses, and of one that talks nonsense.
  const Bytes refusal = Build(testing::Reply{.result = 5});
  const Bytes garbage(100, 0xEE);
  const Bytes* answer = nullptr;
  ThePipes().Listen(kRequestPipe, [&](const Bytes&) { return std::vector<Bytes>{*answer}; });

  std::size_t blocks = 0;
  std::size_t bytes = 0;
  std::size_t calls = 0;
  for (std::size_t round = 0; round < rounds; ++round) {
    for (const auto& remote : RemoteCalls()) {
      const Bytes good = remote.reply();
      ZorResult expected = ZOR_SUCCESS;
      answer = &good;
      if (round % 8 == 6) {
        expected = 5;
        answer = &refusal;
      } else if (round % 8 == 7) {
        expected = ZOR_TRANSPORT_FAILURE;
        answer = &garbage;
      }
      OwnedOutputs outputs;
      ASSERT_EQ(remote.call(scripted::LinkedExports(), outputs.records()), expected) << remote.name;
      ++calls;
    }
    ForgetTheRecords();
    ASSERT_EQ(TheHeap().BlockCount(), 0U);
    if (round == 8) blocks = LiveBlocks(), bytes = LiveBytes();
  }
  EXPECT_EQ(LiveBlocks(), blocks);
  EXPECT_EQ(LiveBytes(), bytes);
  EXPECT_EQ(ThePipes().OpenCount(), 1);
  Tally("calls without a leak", calls);
}

TEST_F(Endurance, OfNotificationsLeavesNothingAndLosesNone) {
  static std::size_t delivered = 0;
  static bool in_order = true;
  const std::size_t count = Scaled(20'000, 1'000'000);
  constexpr std::size_t kBurst = 50;
  ThePipes().Listen(kNotifyPipe);
  TheCalls().StopRecording();
  TheThreads().RunAlone();

  RpcClient client([](RpcClient&) {});
  client.event_callback = [](ZorEvent* event) {
    if (event->data.event5.value != delivered++) in_order = false;
  };
  std::size_t sent = 0;
  std::size_t blocks = 0;
  std::size_t bytes = 0;
  TheCalls().Before(Function::kSleep, [&] {
    TheOutput().Reset();
    if (sent == kBurst) blocks = LiveBlocks(), bytes = LiveBytes();
    if (sent >= count) client.stopping = true;
    for (std::size_t i = 0; i < kBurst && sent < count; ++i) {
      const auto value = static_cast<std::uint32_t>(sent++);
      ThePipes().Send(kNotifyPipe, Build(Notification{.type = 5, .value = value, .text = "text"}));
    }
  });
  RunNotifyListener(client);
  const std::size_t blocks_after = LiveBlocks();
  const std::size_t bytes_after = LiveBytes();
  TheCalls().Before(Function::kSleep, {});
  EXPECT_EQ(delivered, count);
  EXPECT_TRUE(in_order);
  EXPECT_EQ(blocks_after, blocks);
  EXPECT_EQ(bytes_after, bytes);
  Tally("notifications in order, without a leak", delivered);
}

TEST_F(Endurance, OfEnumerationsLeavesTheIdTablesRowsOnly) {
  const std::size_t count = Scaled(300, 10'000);
  InstallDriver(L"1.0.0.5");
  const auto folder = AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
  AddLibrary(folder, L"K270502.dll");
  AddLibrary(folder, L"K030806.dll");
  const std::vector<std::string> names = {"general", "private", std::string(100, 'x')};
  ServeAlgorithms(names);
  TheCalls().StopRecording();
  ZorNameList list = {};
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(ZorIntfEnum(2, &list), ZOR_SUCCESS);
    ForgetTheRecords();
  }
  AlgorithmIdTable().swap(TheLibrary().algorithm_ids);
  const std::size_t blocks = LiveBlocks();
  const std::size_t bytes = LiveBytes();

  for (std::size_t i = 0; i < count; ++i) {
    ASSERT_EQ(ZorIntfEnum(2, &list), ZOR_SUCCESS);
    ASSERT_EQ(list.count, 2U);
    ForgetTheRecords();
  }
  const AlgorithmIdTable& table = TheLibrary().algorithm_ids;
  EXPECT_EQ(table.size(), count * names.size());
  // The table itself, and its one name a call that does not fit its object.
  EXPECT_EQ(LiveBlocks() - blocks, 1 + count);
  EXPECT_EQ(LiveBytes() - bytes, table.capacity() * sizeof(AlgorithmIdEntry) + count * 101);
  EXPECT_EQ(TheHeap().BlockCount(), 2U);  // the slots and the one name
  Tally("enumerations without a leak", count);

  AnswerWith(Build(testing::Reply{}));
  EXPECT_EQ(ZorIntfEnum(0, &list), ZOR_SUCCESS);
}

}  // namespace
}  // namespace zor::faults
