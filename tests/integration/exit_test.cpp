// Processes that end with the library loaded: they end, at once and with their own exit code.
#include <gtest/gtest.h>
#include <windows.h>

#include <random>
#include <string>

#include "tests/integration/support/child_process.h"
#include "tests/integration/support/pipe_server.h"

namespace zor::testing {
namespace {

// A process ends in some state of the listener's; so many at moments of their own meet most.
constexpr int kRuns = 50;
// A little more than the listener takes to begin, connect and enter its pause.
constexpr int kLatestMicroseconds = 5000;
constexpr DWORD kChildsExitCode = 42;

void ExpectChildrenToEnd(const std::wstring& state) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same moments in every run
  std::uniform_int_distribution<> moment(0, kLatestMicroseconds);
  for (int run = 0; run < kRuns; ++run) {
    const std::wstring way = run % 2 == 0 ? L" return " : L" exit-process ";
    const int microseconds = moment(random);
    SCOPED_TRACE(microseconds);
    ChildProcess child(L"zor_exit_child.exe", state + way + std::to_wstring(microseconds));
    ASSERT_EQ(child.Wait(), kChildsExitCode);
  }
}

TEST(Exit, WithoutAServer) { ExpectChildrenToEnd(L"plain"); }

TEST(Exit, WithAnIdleServer) {
  PipeServer server(kNotifyPipe, StayIdle, 2);
  ExpectChildrenToEnd(L"plain");
  EXPECT_GT(server.connections(), 0);
}

TEST(Exit, WhileNotificationsPourIn) {
  PipeServer server(kNotifyPipe, Flood, 2);
  ExpectChildrenToEnd(L"plain");
  EXPECT_GT(server.connections(), 0);
}

TEST(Exit, WhileACallbackWaits) {
  PipeServer server(kNotifyPipe, Flood, 2);
  ExpectChildrenToEnd(L"blocked");
}

TEST(Exit, WhileACallbackUsesTheHeap) {
  PipeServer server(kNotifyPipe, Flood, 2);
  ExpectChildrenToEnd(L"busy");
}

}  // namespace
}  // namespace zor::testing
