// The event record before the first event, on a stack that is not zero.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "notify/notify_listener.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using EventRecord = PlatformTest;

std::array<std::byte, sizeof(ZorEvent)> first_record;

/// Leaves a pattern where the next function has its variables.
[[gnu::noinline]] void DirtyTheStack() {
  std::array<volatile unsigned char, 8192> dirt;
  for (volatile unsigned char& byte : dirt) byte = 0xA5;
}

TEST_F(EventRecord, IsZeroInAllItsBytesBeforeTheFirstEvent) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  TheThreads().RunAlone();
  ThePipes().Listen(kNotifyPipe);
  RpcClient client([](RpcClient&) {});
  client.event_callback = [](ZorEvent* event) {
    std::memcpy(first_record.data(), event, sizeof(*event));
  };
  first_record.fill(std::byte{0xFF});
  int pauses = 0;
  TheCalls().Before(Function::kSleep, [&] {
    // Of type 0, whose flag of 0 is all that it sets.
    if (pauses++ == 0) ThePipes().Send(kNotifyPipe, Build(Notification{.type = 0, .value = 0}));
    client.stopping = pauses == 2;
  });
  DirtyTheStack();
  RunNotifyListener(client);
  TheCalls().Before(Function::kSleep, {});
  EXPECT_EQ(first_record, (std::array<std::byte, sizeof(ZorEvent)>{}));
}

}  // namespace
}  // namespace zor::scripted
