// A server as a process of its own, ended where it stands:
//   hostile_server_child die POINT GOOD CALL READY    answers GOOD requests of the call, the next
//                                                     one as far as POINT, and ends itself
//   hostile_server_child squat SEED READY             garbage on both pipes, until it is killed
// Points and calls by number. The event READY says that the pipes are there.
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/hostile/support/faulty_server.h"
#include "tests/hostile/support/mutations.h"
#include "tests/hostile/support/remote_calls.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/kit/messages.h"

namespace {

using namespace zor::hostile;  // NOLINT(google-build-using-namespace): a program of its own
using zor::testing::PipeServer;
using zor::testing::ServerEnd;

constexpr int kUsage = 1;

void SayReady(const char* name) {
  const auto event =
      zor::testing::Require(OpenEventA(EVENT_MODIFY_STATE, FALSE, name), "OpenEvent");
  SetEvent(event.get());
}

void Die(Point point, int good, const Bytes& reply, const char* ready) {
  ServerEnd end(zor::testing::kRequestPipe);
  SayReady(ready);
  bool served = end.WaitForClient();
  for (int i = 0; i < good && served; ++i) served = ExchangeUpTo(end, Point::kSentReply, reply);
  if (served) served = ExchangeUpTo(end, point, reply);
  // No destructor, no flush: gone, as one that has been killed.
  TerminateProcess(GetCurrentProcess(), served ? 0 : kUsage);
}

void Squat(std::uint32_t seed, const char* ready) {
  constexpr std::size_t kClients = 3;
  std::atomic<std::uint32_t> next = seed;  // each connection has its own
  const auto answer = [&next](ServerEnd& end) {
    Random random(next++);
    const Bytes good = zor::testing::Build(
        zor::testing::Reply{.server_info = zor::messages::ServerInfo(1, 2, 3, 4)});
    while (end.Read()) {
      // One reply to a request, as a rule.
      const auto kind = random() % 20;
      if (kind == 0) return;
      if (!end.Write(kind < 10 ? Garbage(random, 1100) : Damaged(random, good))) return;
      if (kind == 1 && !end.Write(Garbage(random, 3000))) return;
    }
  };
  const auto notify = [&next](ServerEnd& end) {
    Random random(next++);
    const Bytes good =
        zor::testing::Build(zor::testing::Notification{.type = 5, .value = 1, .text = "text"});
    for (;;) {
      const bool sent = end.Write(Garbage(random, 1000)) && end.Write(Damaged(random, good));
      if (!sent || random() % 1000 == 0) return;
    }
  };
  const PipeServer requests(zor::testing::kRequestPipe, answer, kClients);
  const PipeServer notifications(zor::testing::kNotifyPipe, notify, kClients);
  SayReady(ready);
  Sleep(INFINITE);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view role = argc > 1 ? argv[1] : "";
  if (role == "die" && argc == 6) {
    const auto call = static_cast<std::size_t>(std::atoi(argv[4]));
    Die(static_cast<Point>(std::atoi(argv[2])), std::atoi(argv[3]), RemoteCalls()[call].reply(),
        argv[5]);
  } else if (role == "squat" && argc == 4) {
    Squat(static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)), argv[3]);
  }
  return kUsage;
}
