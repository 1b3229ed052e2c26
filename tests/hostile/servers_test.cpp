// Servers that end in the middle of an exchange, hang, are busy, or are somebody else.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "tests/faults/tally.h"
#include "tests/hostile/support/caller.h"
#include "tests/hostile/support/client.h"
#include "tests/hostile/support/expected_event.h"
#include "tests/hostile/support/faulty_server.h"
#include "tests/hostile/support/log_hook.h"
#include "tests/hostile/support/mutations.h"
#include "tests/integration/support/child_process.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ChildProcess;
using testing::kPatienceMs;
using testing::LoadedLibrary;
using testing::PipeServer;
using testing::RequestServer;
using testing::ServerEnd;

/// With a server that is new and as it should be, a call is answered.
void ExpectAnAnswer(Client& client, const RemoteCall& remote) {
  ServerEnd end(testing::kRequestPipe);
  std::jthread server([&] {
    EXPECT_TRUE(end.WaitForClient());
    EXPECT_TRUE(ExchangeUpTo(end, Point::kSentReply, remote.reply()));
  });
  EXPECT_EQ(client.Call(remote), ZOR_SUCCESS) << remote.name;
}

/// Runs `round` with a client of its own each time, so that there are never very many handles to
/// count.
template <typename Round>
void ForEachRound(std::size_t rounds, const Round& round) {
  for (std::size_t i = 0; i < rounds && !::testing::Test::HasFailure(); ++i) {
    Client client;
    round(client);
  }
}

// --- ended in the middle

enum class Way : std::uint8_t { kClosed, kDisconnected };

std::string NameOf(Way way) { return way == Way::kClosed ? "Closed" : "Disconnected"; }
void PrintTo(Way way, std::ostream* out) { *out << NameOf(way); }

class EndedServers : public ::testing::TestWithParam<Way> {
 protected:
  /// `good` exchanges on one connection, then one that ends at the point.
  static void Try(Client& client, const RemoteCall& remote, Point point, int good) {
    const Bytes reply = remote.reply();
    auto end = std::make_unique<ServerEnd>(testing::kRequestPipe);
    const testing::Event good_ones_over;
    std::jthread server([&] {
      EXPECT_TRUE(end->WaitForClient());
      for (int i = 0; i < good; ++i) EXPECT_TRUE(ExchangeUpTo(*end, Point::kSentReply, reply));
      EXPECT_TRUE(good_ones_over.WaitMs(kPatienceMs));
      EXPECT_TRUE(ExchangeUpTo(*end, point, reply));
      if (GetParam() == Way::kClosed) {
        end.reset();
      } else {
        end->Disconnect();
      }
    });
    for (int i = 0; i < good; ++i) EXPECT_EQ(client.Call(remote), ZOR_SUCCESS);
    good_ones_over.Set();
    const ZorResult result = client.Call(remote);
    if (point == Point::kConnected && good > 0) {
      // Whether the call comes first or the end.
      EXPECT_TRUE(result == 1U || result == 2U) << remote.name;
    } else if (point == Point::kSentReply) {
      // What was sent can be read when the server is gone, unless it has thrown it away.
      EXPECT_TRUE(result == ZOR_SUCCESS || (GetParam() == Way::kDisconnected && result == 1U));
    } else {
      EXPECT_EQ(result, 1U) << remote.name << " at point " << static_cast<int>(point);
    }
  }
};

TEST_P(EndedServers, AtEveryPointOfEveryCall) {
  std::size_t all = 0;
  ForEachRound(Scaled(1, 50), [&](Client& client) {
    std::size_t ended = 0;
    for (const RemoteCall& remote : RemoteCalls()) {
      for (const Point point : kPoints) {
        for (const int good : {0, 1}) {
          Try(client, remote, point, good);
          ExpectAnAnswer(client, remote);
          ++ended;
        }
      }
    }
    // One to each that ended, and one to each that answered then.
    EXPECT_EQ(client.UnloadAndCountConnections(), 2 * ended);
    all += ended;
  });
  Tally(GetParam() == Way::kClosed ? "servers that closed their pipe in an exchange"
                                   : "servers that disconnected in an exchange",
        all);
}

INSTANTIATE_TEST_SUITE_P(Ways, EndedServers, ::testing::Values(Way::kClosed, Way::kDisconnected),
                         [](const auto& way) { return NameOf(way.param); });

/// Starts a server process, whose pipes are there when the constructor returns.
class ServerProcess {
 public:
  explicit ServerProcess(const std::string& role)
      : ready_(testing::Require(CreateEventA(nullptr, TRUE, FALSE, Name().c_str()), "CreateEvent")),
        child_(L"hostile_server_child.exe", Wide(role + " " + Name())) {
    EXPECT_EQ(WaitForSingleObject(ready_.get(), kPatienceMs), WAIT_OBJECT_0);
  }

  [[nodiscard]] ChildProcess& process() { return child_; }

 private:
  static std::string Name() { return "zor-hostile-" + std::to_string(GetCurrentProcessId()); }
  static std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }

  testing::UniqueHandle ready_;
  ChildProcess child_;
};

/// As EndedServers::Try(), with a process that is killed.
void TryKilling(Client& client, std::size_t index, Point point, int good) {
  const RemoteCall& remote = RemoteCalls()[index];
  ServerProcess server("die " + std::to_string(static_cast<int>(point)) + " " +
                       std::to_string(good) + " " + std::to_string(index));
  for (int i = 0; i < good; ++i) EXPECT_EQ(client.Call(remote), ZOR_SUCCESS);
  const ZorResult result = client.Call(remote);
  if (point == Point::kConnected && good > 0) {
    EXPECT_TRUE(result == 1U || result == 2U) << remote.name;
  } else {
    EXPECT_EQ(result, point == Point::kSentReply ? 0U : 1U) << remote.name;
  }
  EXPECT_EQ(server.process().Wait(), 0U);
  EXPECT_EQ(client.Call(remote), ZOR_NOT_CONNECTED);
}

TEST(Servers, ThatAreKilledAtEveryPoint) {
  const std::size_t calls = Scaled(2, RemoteCalls().size());
  std::size_t all = 0;
  std::size_t round = 0;
  ForEachRound(Scaled(1, 10), [&](Client& client) {
    std::size_t killed = 0;
    for (std::size_t call = 0; call < calls; ++call) {
      const std::size_t index = (7 * call + 3) % RemoteCalls().size();
      for (const Point point : kPoints) {
        TryKilling(client, index, point, static_cast<int>((call + round) % 2));
        ExpectAnAnswer(client, RemoteCalls()[index]);
        ++killed;
      }
    }
    EXPECT_EQ(client.UnloadAndCountConnections(), 2 * killed);
    all += killed;
    ++round;
  });
  Tally("server processes that were killed in an exchange", all);
}

TEST(Servers, ThatAreClosedBetweenTheOpeningAndTheRequest) {
  const std::size_t servers = Scaled(20, 500);
  std::size_t all = 0;
  ForEachRound(Scaled(1, 10), [&](Client& client) {
    std::optional<ServerEnd> end;
    {
      // The listener opens nothing: it has no server.
      const LogHook hook(kOpened, [&] { end.reset(); });
      for (std::size_t i = 0; i < servers; ++i, ++all) {
        end.emplace(testing::kRequestPipe);
        EXPECT_EQ(client.Call(RemoteCalls()[i % RemoteCalls().size()]), 1U);
      }
    }
    ExpectAnAnswer(client, RemoteCalls().front());
    EXPECT_EQ(client.UnloadAndCountConnections(), servers + 1);
  });
  Tally("servers that were gone before the request", all);
}

TEST(Servers, ThatComeAndGoAtAnyMoment) {
  // Whatever call it meets, a call is answered, fails, or finds nobody; and never without end.
  constexpr std::size_t kServers = 60;
  const auto status = std::ranges::find(RemoteCalls(), std::string_view("ZorIntfGetStatus"),
                                        [](const RemoteCall& remote) { return remote.name; });
  Random random(Seed());
  std::size_t all = 0;
  ForEachRound(Scaled(1, 80), [&](Client& client) {
    std::atomic<bool> over{false};
    std::jthread coming_and_going([&] {
      for (std::size_t i = 0; i < kServers; ++i) {
        const PipeServer server(
            testing::kRequestPipe,
            [&](ServerEnd& end) {
              while (ExchangeUpTo(end, Point::kSentReply, status->reply())) {
              }
            },
            2);
        const auto spins = random() % 40'000;
        for (std::uint32_t spin = 0; spin < spins; ++spin) YieldProcessor();
      }
      over = true;
    });
    std::array<std::size_t, 3> results{};
    while (!over) {
      const ZorResult result = client.Call(*status);
      ASSERT_LT(result, results.size());
      ++results[result];
    }
    coming_and_going.join();
    EXPECT_GT(results[0], 0U);
    ExpectAnAnswer(client, *status);
    client.UnloadAndCountConnections();
    all += kServers;
  });
  Tally("servers that came and went at any moment", all);
}

// --- there, but not at work

TEST(Servers, ThatHangAreWaitedForAndThenAnswer) {
  Client client;
  const std::size_t rounds = Scaled(1, 100);
  std::size_t hung = 0;
  ServerEnd end(testing::kRequestPipe);
  for (std::size_t round = 0; round < rounds; ++round) {
    for (const RemoteCall& remote : RemoteCalls()) {
      std::atomic<bool> returned{false};
      std::jthread server([&, connect = hung == 0] {
        EXPECT_TRUE(!connect || end.WaitForClient());
        EXPECT_TRUE(end.Read());
        Sleep(1);  // hangs; for however long makes no difference
        EXPECT_FALSE(returned);
        EXPECT_TRUE(end.Write(remote.reply()));
      });
      EXPECT_EQ(client.Call(remote), ZOR_SUCCESS);
      returned = true;
      ++hung;
    }
  }
  EXPECT_EQ(client.UnloadAndCountConnections(), 1U);
  Tally("servers that hung and were released", hung);
}

TEST(Servers, ThatDoNotReadHoldUpALargeRequestUntilTheyDo) {
  const std::set<HANDLE> others = testing::ClientPipeEnds();
  LoadedLibrary client;
  const std::size_t rounds = Scaled(5, 300);
  Bytes data(1U << 20, 0xD7);
  char name[] = "large";
  const ZorBlob block{name, static_cast<std::uint32_t>(data.size()), data.data()};
  for (std::size_t round = 0; round < rounds; ++round) {
    // Its buffer has no room for the request: the call waits in its write.
    auto end =
        std::make_unique<ServerEnd>(testing::kRequestPipe, ServerEnd::Options{.buffer_size = 4096});
    const bool reads = round % 2 == 0;
    std::jthread server([&] {
      EXPECT_TRUE(end->WaitForClient());
      if (!reads) return end.reset();
      const auto request = end->Read();
      ASSERT_TRUE(request);
      EXPECT_GT(request->size(), data.size());
      EXPECT_TRUE(end->Write(testing::Build(testing::Reply{})));
    });
    EXPECT_EQ(client->SetSerialized(1, &block), reads ? 0U : 1U);
  }
  client.Unload();
  EXPECT_EQ(CloseAllBut(others), rounds - 1);  // the unload has closed the last one
  Tally("large requests that a server left waiting", rounds);
}

TEST(Servers, ThatAreBusyAreTriedAgainByEachCall) {
  Client client;
  const std::size_t rounds = Scaled(50, 2000);
  for (std::size_t round = 0; round < rounds; ++round) {
    const RemoteCall& remote = RemoteCalls()[round % RemoteCalls().size()];
    ServerEnd end(testing::kRequestPipe, {.instances = 1});
    testing::UniqueHandle other =
        testing::Require(CreateFileW(testing::kRequestPipe, GENERIC_READ | GENERIC_WRITE, 0,
                                     nullptr, OPEN_EXISTING, 0, nullptr),
                         "CreateFile");
    EXPECT_TRUE(end.WaitForClient());
    EXPECT_EQ(client.Call(remote), ZOR_NOT_CONNECTED);
    EXPECT_EQ(client.Call(remote), ZOR_NOT_CONNECTED);
    other.reset();
    end.Disconnect();
    std::jthread server([&] {
      EXPECT_TRUE(end.WaitForClient());
      EXPECT_TRUE(ExchangeUpTo(end, Point::kSentReply, remote.reply()));
    });
    // Until it listens again it is as good as busy.
    ZorResult result = ZOR_NOT_CONNECTED;
    while (result == ZOR_NOT_CONNECTED) result = client.Call(remote);
    EXPECT_EQ(result, ZOR_SUCCESS);
  }
  EXPECT_EQ(client.UnloadAndCountConnections(), rounds);
  Tally("servers that were busy", rounds);
}

TEST(Servers, ThatDieWithAReplyUnreadKeepTheirConnection) {
  Client client;
  // As long as something is left to read, the pipe answers a peek. So each call keeps the handle,
  // fails to write, and does not read: only a new load of the library gets out of it. A server that
  // sends one reply of at most 1024 bytes to each request never leaves one unread.
  {
    ServerEnd end(testing::kRequestPipe);
    std::jthread server([&] {
      EXPECT_TRUE(end.WaitForClient());
      EXPECT_TRUE(end.Read());
      EXPECT_TRUE(end.Write(testing::Build(testing::Reply{.status = 0xFF})));
      EXPECT_TRUE(end.Write(testing::Build(testing::Reply{.status = 0xFF})));
    });
    EXPECT_EQ(client.Call(RemoteCalls().front()), ZOR_SUCCESS);
  }
  RequestServer good;
  for (int i = 0; i < 10; ++i) EXPECT_EQ(client->Start(1), ZOR_TRANSPORT_FAILURE);
  EXPECT_EQ(good.connections(), 0);
  client.UnloadAndCountConnections();
  const LoadedLibrary again;
  EXPECT_EQ(again->Start(1), ZOR_SUCCESS);
}

// --- somebody else

TEST(Squatters, WhoSendGarbageOnBothPipesDoNoHarm) {
  static std::atomic<std::size_t> events;
  const std::size_t rounds = Scaled(2, 100);
  const std::size_t calls = Scaled(600, 1500);
  std::size_t made = 0;
  Random random(Seed());
  for (std::size_t round = 0; round < rounds && !::testing::Test::HasFailure(); ++round) {
    const std::set<HANDLE> others = testing::ClientPipeEnds();
    ServerProcess squatter("squat " + std::to_string(random()));
    {
      const LoadedLibrary library;
      // Reads each text to its end.
      library->RegEventCallback([](ZorEvent* event) {
        EXPECT_LT(Event::Of(*event).text.size(), 1024U);
        ++events;
      });
      Caller caller(library);
      for (std::size_t call = 0; call < calls; ++call, ++made) {
        caller.CallAStranger(RemoteCalls()[random() % RemoteCalls().size()]);
      }
      squatter.process().Kill();
      // With nobody there, calls go on to fail.
      EXPECT_NE(library->Start(1), ZOR_SUCCESS);
    }
    // One for each time that the squatter cut the library off.
    EXPECT_GT(CloseAllBut(others), 0U);
    RequestServer requests;
    const LoadedLibrary library;
    EXPECT_EQ(library->Start(1), ZOR_SUCCESS);
  }
  EXPECT_GT(events, 0U);
  Tally("calls to a process that has taken the pipe names", made);
}

}  // namespace
}  // namespace zor::hostile
