// Servers that are restarted, very often: no call and no notification is lost that could be saved,
// and each restart costs one handle.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/faults/tally.h"
#include "tests/hostile/support/client.h"
#include "tests/hostile/support/faulty_server.h"
#include "tests/hostile/support/log_hook.h"
#include "tests/hostile/support/mutations.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ClientPipeEnds;
using testing::LoadedLibrary;
using testing::ServerEnd;

// The handles that are left behind are counted, and closed, after so many.
constexpr std::size_t kBatch = 500;

TEST(Restarts, OfTheRequestServerLoseNoCall) {
  Random random(Seed());
  const std::size_t batches = Scaled(1, 20);
  std::size_t answered = 0;
  for (std::size_t batch = 0; batch < batches && !::testing::Test::HasFailure(); ++batch) {
    Client client;
    std::optional<ServerEnd> end;
    Bytes reply;
    // One thread is both ends: a server's first reply is sent as the client opens the pipe.
    const LogHook connecting(kOpened, [&] {
      EXPECT_TRUE(end->WaitForClient());
      EXPECT_TRUE(end->Write(reply));
    });
    for (std::size_t restart = 0; restart < kBatch; ++restart) {
      const RemoteCall& remote = RemoteCalls()[random() % RemoteCalls().size()];
      reply = remote.reply();
      for (auto absent = random() % 3; absent > 0; --absent) {
        ASSERT_EQ(client.Call(remote), ZOR_NOT_CONNECTED);
      }
      end.emplace(testing::kRequestPipe);
      const auto calls = 1 + random() % 3;
      for (std::uint32_t call = 0; call < calls; ++call, ++answered) {
        ASSERT_TRUE(call == 0 || end->Write(reply));
        ASSERT_EQ(client.Call(remote), ZOR_SUCCESS) << remote.name;
        ASSERT_TRUE(end->Read());
      }
      if (random() % 2 == 0) end->Disconnect();
      end.reset();
    }
    EXPECT_EQ(client.UnloadAndCountConnections(), kBatch);
  }
  EXPECT_GE(answered, batches * kBatch);
  Tally("restarts of the request server", batches * kBatch);
  Tally("calls across the restarts", answered);
}

/// What the listener's thread, which is both ends, does and sees.
struct NotifyRestarts {
  std::optional<ServerEnd> end;
  std::size_t left = kBatch;
  std::uint32_t sent = 0;
  std::uint32_t seen = 0;
  bool in_order = true;
  testing::Event over;

  /// Sends some and ends: what is sent can be read all the same.
  void Serve() {
    EXPECT_TRUE(end->WaitForClient());
    for (std::uint32_t i = 0; i <= left % 5; ++i) {
      EXPECT_TRUE(end->Write(testing::Build(testing::Notification{.type = 1, .value = sent++})));
    }
    end.reset();
    if (--left > 0) end.emplace(testing::kNotifyPipe);
  }

  void OnEvent(std::uint32_t value) {
    in_order = in_order && value == seen;
    ++seen;
    if (left == 0 && seen == sent) over.Set();
  }
};

TEST(Restarts, OfTheNotificationServerLoseNoNotification) {
  static NotifyRestarts* restarts;
  const std::size_t batches = Scaled(1, 20);
  std::size_t delivered = 0;
  for (std::size_t batch = 0; batch < batches && !::testing::Test::HasFailure(); ++batch) {
    NotifyRestarts these;
    restarts = &these;
    const std::set<HANDLE> others = ClientPipeEnds();
    const LogHook listening(kListening, [] { restarts->Serve(); });
    {
      const LoadedLibrary library;
      library->RegEventCallback(
          [](ZorEvent* event) { restarts->OnEvent(event->data.event1.value); });
      these.end.emplace(testing::kNotifyPipe);
      EXPECT_TRUE(these.over.WaitMs(2 * testing::kPatienceMs));
    }
    EXPECT_TRUE(these.in_order);
    EXPECT_EQ(these.seen, these.sent);
    // None where the peek that finds the server gone is the one that closes.
    EXPECT_LE(CloseAllBut(others), kBatch);
    delivered += these.seen;
  }
  Tally("restarts of the notification server", batches * kBatch);
  Tally("notifications across the restarts", delivered);
}

}  // namespace
}  // namespace zor::hostile
