// The examples that survive: a server that hangs once, then a kill and another server.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/integration/support/child_process.h"
#include "tests/kit/patience.h"
#include "tests/session/server_process.h"

namespace zor::testing {
namespace {

/// In a trace.
constexpr const char* kRequest = "\"func_name\":\"ZorIntfGetStatus\"";

/// The third request for the status is never answered; at the sixth the connection is dropped.
constexpr const char* kHangs = R"({"faults": [
  {"call": "ZorIntfGetStatus", "nth": 3, "no_reply": true},
  {"call": "ZorIntfGetStatus", "nth": 6, "drop": "before_call"}]})";

/// Waits until the server has traced so many requests for the status, for as long as more come.
void WaitForRequests(const char* trace, std::size_t count) {
  std::size_t seen = 0;
  auto last = std::chrono::steady_clock::now();
  while (seen < count) {
    std::ifstream file(trace);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::size_t now = 0;
    for (auto at = text.find(kRequest); at != std::string::npos; at = text.find(kRequest, at + 1)) {
      ++now;
    }
    if (now > seen) last = std::chrono::steady_clock::now();
    seen = now;
    if (std::chrono::steady_clock::now() - last > kPatience) {
      throw std::runtime_error("there were " + std::to_string(seen) + " requests");
    }
    Sleep(10);
  }
}

class Survivors : public ::testing::TestWithParam<const wchar_t*> {};

TEST_P(Survivors, ComeThroughAHangADropAndARestart) {
  std::ofstream("survivors.json") << kHangs;
  auto server =
      std::make_unique<ServerProcess>(L"--scenario survivors.json --trace survivors.trace");
  // The hang, the drop, the restart, and the next server's hang.
  ChildProcess survivor(GetParam(), L"4");
  WaitForRequests("survivors.trace", 8);
  server->Kill();
  server = std::make_unique<ServerProcess>(L"--scenario survivors.json");
  EXPECT_EQ(survivor.Wait(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Languages, Survivors,
                         ::testing::Values(L"survive.exe", L"survive_cpp.exe"),
                         [](const auto& program) { return program.index == 0 ? "C" : "Cpp"; });

}  // namespace
}  // namespace zor::testing
