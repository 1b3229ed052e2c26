// Processes that end at any moment with the library loaded, one after another: each ends, with its
// own exit code, and the next finds a server that is none the worse.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/faults/tally.h"
#include "tests/hostile/support/mutations.h"
#include "tests/integration/support/child_process.h"
#include "tests/integration/support/pipe_server.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ChildProcess;
using testing::PipeServer;

constexpr DWORD kChildsExitCode = 42;
constexpr std::size_t kClients = 3;  // at once: those that are ending, too

/// Wine 8 ends the other threads wherever they are in its own code, and then waits for a lock that
/// one of them had: of processes whose thread makes one call after the other, one in two hundred
/// stays. (Killing them from outside takes no lock.)
bool CanEndWhileCalling() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
}

std::size_t EndProcesses(std::vector<std::wstring> states) {
  if (CanEndWhileCalling()) states.emplace_back(L"calling");
  Random random(Seed());
  const std::size_t count = Scaled(12, 350);
  for (std::size_t i = 0; i < count && !::testing::Test::HasFailure(); ++i) {
    const std::wstring& state = states[random() % states.size()];
    const std::wstring way = random() % 2 == 0 ? L" return " : L" exit-process ";
    ChildProcess child(L"zor_exit_child.exe", state + way + std::to_wstring(random() % 20'000));
    EXPECT_EQ(child.Wait(), kChildsExitCode);
  }
  return count;
}

TEST(Processes, EndWithoutAServer) {
  Tally("processes that ended without a server", EndProcesses({L"plain"}));
}

TEST(Processes, EndWithAnIdleServer) {
  PipeServer notify(testing::kNotifyPipe, testing::StayIdle, kClients);
  PipeServer requests(testing::kRequestPipe, testing::AnswerAll, kClients);
  const std::size_t count = EndProcesses({L"plain"});
  EXPECT_GT(notify.connections(), 0);
  EXPECT_EQ(requests.connections() > 0, CanEndWhileCalling());
  Tally("processes that ended with an idle server", count);
}

TEST(Processes, EndWhileNotificationsPourIn) {
  PipeServer notify(testing::kNotifyPipe, testing::Flood, kClients);
  PipeServer requests(testing::kRequestPipe, testing::AnswerAll, kClients);
  const std::size_t count = EndProcesses({L"plain", L"blocked", L"busy"});
  EXPECT_GT(notify.connections(), 0);
  Tally("processes that ended while notifications poured in", count);
}

TEST(Processes, KilledAtAnyMomentLeaveTheServerToTheNext) {
  Random random(Seed());
  PipeServer notify(testing::kNotifyPipe, testing::Flood, kClients);
  PipeServer requests(testing::kRequestPipe, testing::AnswerAll, kClients);
  const std::size_t count = Scaled(12, 350);
  for (std::size_t i = 0; i < count; ++i) {
    ChildProcess child(L"zor_exit_child.exe", L"calling return 30000000");
    // Once it is on its way: it connects as soon as it is loaded.
    ASSERT_TRUE(notify.WaitForConnections(static_cast<int>(i) + 1));
    Sleep(random() % 5);
    child.Kill();
  }
  EXPECT_GE(notify.connections(), static_cast<int>(count));
  Tally("processes that were killed at any moment", count);
}

}  // namespace
}  // namespace zor::hostile
