// A session of the built library on real pipes: replies that come too late, servers that are ended
// and begun again, and sessions that come and go under a flood of notifications.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "interface/zor_session.hpp"
#include "tests/faults/tally.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/kit/messages.h"
#include "tests/kit/patience.h"
#include "tests/session/server_process.h"
#include "tests/session/session_test.h"

namespace zor::testing {
namespace {

using faults::Scaled;
using faults::Tally;
using Kind = SessionEventKind;

// --- replies that come too late

/// Where the server stops in an exchange, until it is released.
enum class Phase { kNowhere, kBeforeReading, kBeforeReplying, kInTheReply, kForAMoment, kCount };

/// Answers ZorIntfSet with the value that was set. Which request it stops at, and where, the test
/// says beforehand.
class LateServer {
 public:
  LateServer() { open_.Set(); }

  /// The request with this value meets the phase. One for kBeforeReading is not read: the request
  /// before it says so.
  void Expect(float value, Phase phase, DWORD moment_ms) {
    const std::lock_guard lock(mutex_);
    value_ = value;
    phase_ = phase;
    moment_ms_ = moment_ms;
    released_.Reset();
  }
  void Release() {
    released_.Set();
    open_.Set();
  }
  /// After the reply to the next request nothing is read until Release().
  void ReadNoMoreAfterTheNext() { closes_ = true; }

 private:
  void Serve(ServerEnd& end) {
    while (!end.IsCancelled() && WaitFor(end, open_)) {
      const auto bytes = end.Read();
      if (!bytes) return;
      const Request request(*bytes);
      Reply reply{.handle = 5};
      Phase phase = Phase::kNowhere;
      if (request->float_param() != nullptr) {
        reply.float_param = request->float_param()->value();
        const std::lock_guard lock(mutex_);
        if (*reply.float_param == value_) phase = std::exchange(phase_, Phase::kNowhere);
      }
      if (closes_.exchange(false)) open_.Reset();
      if (!Answer(end, phase, Build(reply))) return;
    }
  }

  bool Answer(ServerEnd& end, Phase phase, const Bytes& reply) {
    if (phase == Phase::kInTheReply) {
      const auto half = static_cast<std::ptrdiff_t>(reply.size() / 2);
      return end.Write(Bytes(reply.begin(), reply.begin() + half)) && WaitFor(end, released_) &&
             end.Write(Bytes(reply.begin() + half, reply.end()));
    }
    if (phase == Phase::kBeforeReplying && !WaitFor(end, released_)) return false;
    if (phase == Phase::kForAMoment) Sleep(moment_ms_);
    return end.Write(reply);
  }

  static bool WaitFor(const ServerEnd& end, const Event& event) {
    while (!event.WaitMs(10)) {
      if (end.IsCancelled()) return false;
    }
    return true;
  }

  Event open_;
  Event released_;
  std::atomic<bool> closes_{false};
  std::mutex mutex_;
  float value_ = -1;
  Phase phase_ = Phase::kNowhere;
  DWORD moment_ms_ = 0;
  // For the session, what it was connected to before, and its watch. The last member: it uses them.
  PipeServer server_{kRequestPipe, [this](ServerEnd& end) { Serve(end); }, 8};
};

SessionOptions Patient() {
  SessionOptions options;
  options.limit = kPatience;
  return options;
}

/// How many values were another call's.
std::size_t CountWrong(Session& session, LateServer& server, std::size_t count) {
  std::mt19937 random(23);
  std::size_t wrong = 0;
  const auto check = [&wrong](std::future<float> future, float expected) {
    try {
      if (future.get() != expected) ++wrong;
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  };
  SessionInstance instance = session.Create("general").get();
  for (std::size_t i = 0; i < count; ++i) {
    const auto value = static_cast<float>(i);
    const auto phase =
        static_cast<Phase>(1 + random() % (static_cast<unsigned>(Phase::kCount) - 1));
    const std::chrono::milliseconds limit(1 + random() % 6);
    server.Expect(value, phase, static_cast<DWORD>(random() % 8));
    if (phase == Phase::kBeforeReading) {
      server.ReadNoMoreAfterTheNext();
      static_cast<void>(check(instance.Set("number", value + 0.25F), value + 0.25F));
    }
    auto late = instance.Set("number", value, limit);
    const bool early = random() % 4 == 0;
    if (early) {
      Sleep(static_cast<DWORD>(limit.count()));
      server.Release();
    }
    static_cast<void>(check(std::move(late), value));
    server.Release();
    if (random() % 2 == 0) Sleep(1);
    check(instance.Set("number", value + 0.5F), value + 0.5F);
  }
  return wrong;
}

TEST(SessionOnPipes, NeverTakesALateReplyForAnothersCall) {
  LateServer server;
  Session session(Patient());
  const std::size_t count = Scaled(100, 10'000);
  EXPECT_EQ(CountWrong(session, server, count), 0U);
  EXPECT_GT(session.reloads(), count / 2);
  Tally("late replies to a session of the built library", count);
}

/// Says that it loads the library anew, and does not.
class KeepsTheLibraryLoaded : public WindowsSessionSystem {
 public:
  ~KeepsTheLibraryLoaded() override { static_cast<void>(WindowsSessionSystem::Unload()); }

  [[nodiscard]] bool Unload() noexcept override { return true; }
};

TEST(SessionOnPipes, WouldTakeThemWithoutTheReload) {
  LateServer server;
  Session session(std::make_unique<KeepsTheLibraryLoaded>(), Patient());
  EXPECT_GT(CountWrong(session, server, 40), 0U);
}

TEST(SessionOnPipes, RefusesToGoOnWhenSomebodyElseHoldsTheLibrary) {
  LateServer server;
  const LoadedLibrary other;
  Session session(Patient());
  SessionInstance instance = session.Create("general").get();
  EXPECT_EQ(ErrorOfLateCall([&] { server.Expect(1, Phase::kBeforeReplying, 0); },
                            [&](Limit limit) { return instance.Set("number", 1, limit); }),
            SessionError::kTimedOut);
  server.Release();
  EXPECT_EQ(ErrorOf(instance.Set("number", 2)), SessionError::kLibraryHeld);
}

// --- servers that end and begin again

/// What a session has told of servers.
class ServerLog {
 public:
  void Add(const SessionEvent& event) {
    if (event.kind != Kind::kNotification && event.kind != Kind::kReloaded) log_.Add(event);
  }
  std::vector<SessionEvent> WaitFor(std::size_t count) { return log_.WaitFor(count); }
  [[nodiscard]] std::size_t size() { return log_.size(); }

 private:
  EventLog log_;
};

SessionOptions Watching(ServerLog& log) {
  SessionOptions options = Patient();
  options.look_interval = 20ms;
  options.on_event = [&log](const SessionEvent& event) { log.Add(event); };
  return options;
}

enum class End { kStop, kKill };

void ExpectEachToldOnce(End end, std::size_t count) {
  ServerLog log;
  std::vector<std::uint32_t> processes;
  std::mt19937 random(5);
  {
    Session session(Watching(log));
    for (std::size_t i = 0; i < count; ++i) {
      ServerProcess server;
      processes.push_back(server.process());
      log.WaitFor(2 * i + 1);
      if (random() % 2 == 0) {
        EXPECT_EQ(ErrorOf(session.GetInfo()), std::error_code());
      }
      if (end == End::kStop) {
        server.Stop();
      } else {
        server.Kill();
      }
      // Sometimes the next one is there before this one is missed.
      if (random() % 2 == 0) log.WaitFor(2 * i + 2);
    }
    log.WaitFor(2 * count);
  }
  const auto events = log.WaitFor(2 * count);
  ASSERT_EQ(events.size(), 2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(events[2 * i].kind, i == 0 ? Kind::kServerFound : Kind::kServerReplaced) << i;
    EXPECT_EQ(events[2 * i].process, processes[i]) << i;
    EXPECT_EQ(events[2 * i + 1].kind, Kind::kServerGone) << i;
    EXPECT_EQ(events[2 * i + 1].process, processes[i]) << i;
  }
}

TEST(SessionOnPipes, TellsEachRestartOnceAndInOrder) {
  const std::size_t count = Scaled(10, 1000);
  ExpectEachToldOnce(End::kStop, count);
  Tally("restarts of a server that a session told", count);
}

TEST(SessionOnPipes, TellsEachKillOnceAndInOrder) {
  const std::size_t count = Scaled(20, 1000);
  ExpectEachToldOnce(End::kKill, count);
  Tally("kills of a server that a session told", count);
}

TEST(SessionOnPipes, DoesNotDestroyTheInstanceThatHasALostOnesHandle) {
  ServerLog log;
  std::optional<ServerProcess> server(L"--first-handle 7");
  Session session(Watching(log));
  SessionInstance lost = session.Create("general").get();
  server->Kill();
  server.reset();
  server.emplace(L"--first-handle 7");
  SessionInstance mine = session.Create("general").get();
  ASSERT_EQ(lost.handle(), mine.handle());
  EXPECT_TRUE(lost.IsLost());
  EXPECT_EQ(ErrorOf(lost.GetStatus()), SessionError::kInstanceLost);
  lost = SessionInstance();
  EXPECT_EQ(ErrorOf(mine.GetStatus()), std::error_code());
  mine = SessionInstance();
}

TEST(SessionOnPipes, MakesEveryCall) {
  ServerLog log;
  const ServerProcess server;
  Session session(Watching(log));
  ASSERT_TRUE(session.WaitForServer(kPatience));
  static_cast<void>(session.GetInfo().get());
  const NameList names = session.Enumerate().get();
  ASSERT_FALSE(names.empty());
  SessionInstance instance = session.Create(*names.front(), "first").get();
  instance.Config("rate", "48000").get();
  instance.Start().get();
  EXPECT_EQ(instance.Set("gain", 0.5F).get(), 0.5F);
  EXPECT_EQ(instance.Get("gain").get(), 0.5F);
  EXPECT_EQ(ErrorOf(instance.Set(kAlgorithmParameter, 1.0F)), std::error_code());
  EXPECT_EQ(instance.Get(kAlgorithmParameter).get(), 1.0F);
  EXPECT_EQ(instance.GetStatus().get(), 3U);
  const std::vector<std::uint8_t> bytes = {1, 2, 3};
  instance.SetSerialized("tuning", bytes).get();
  EXPECT_EQ(instance.GetSerialized("tuning").get(), bytes);
  instance.Stop().get();
  instance.Destroy().get();
}

TEST(SessionOnPipes, LeavesTheOnlyConnectionOfAServerToTheLibrary) {
  // Each reply on the one connection there is; the session's own attempts find none.
  PipeServer server(kRequestPipe, AnswerAll, 1, {.instances = 1});
  ServerLog log;
  Session session(Watching(log));
  ASSERT_TRUE(session.WaitForServer(kPatience));
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(ErrorOf(session.GetInfo()), std::error_code());
    Sleep(1);
  }
  EXPECT_EQ(server.connections(), 1);
  EXPECT_EQ(log.size(), 1U);
}

// --- sessions that come and go

TEST(SessionOnPipes, OpensAndClosesUnderAFloodOfNotifications) {
  const PipeServer requests(kRequestPipe, AnswerAll, 4);
  PipeServer notifications(kNotifyPipe, Flood, 2);
  const std::size_t count = Scaled(30, 1000);
  std::atomic<std::size_t> seen{0};
  const auto inside = [] {
    const LoadedLibrary library;
    return library.Inside();
  }();
  for (std::size_t i = 0; i < count; ++i) {
    const int before = notifications.connections();
    SessionOptions options = Patient();
    options.delivery = static_cast<Delivery>(i % 3);
    options.on_event = [&seen](const SessionEvent&) { ++seen; };
    Session session(std::move(options));
    if (i % 2 == 0) {
      EXPECT_EQ(ErrorOf(session.GetInfo()), std::error_code());
    }
    // Into the flood, by turns.
    if (i % 3 != 0) {
      EXPECT_TRUE(notifications.WaitForConnections(before + 1));
    }
    session.Poll();
  }
  EXPECT_GT(seen, 0U);
  EXPECT_TRUE(IsUnmapped(inside));
  Tally("sessions opened and closed under a flood of notifications", count);
}

}  // namespace
}  // namespace zor::testing
