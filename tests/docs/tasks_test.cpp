// The examples of the page of tasks, run as they stand there against the simulated server.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "interface/zor_session.hpp"
#include "tests/integration/support/loaded_library.h"
#include "tests/session/server_process.h"

namespace {

using zor::testing::ServerProcess;

std::vector<std::string> shown;

template <typename T>
void Show(const T& what) {
  if constexpr (std::is_same_v<T, ZorServerInfo>) {
    shown.push_back("words");
  } else if constexpr (std::is_same_v<T, zor::SessionEvent>) {
    shown.push_back("event");
  } else {
    std::ostringstream text;
    text << what;
    shown.push_back(text.str());
  }
}

/// Whether an example that goes on without end has shown what it should.
std::function<bool()> enough;
bool Enough() { return enough(); }

#include "tasks.inc"

class Tasks : public ::testing::Test {
 protected:
  Tasks() { shown.clear(); }

  [[nodiscard]] static bool Has(const std::string& text) {
    return std::find(shown.begin(), shown.end(), text) != shown.end();
  }
};

TEST_F(Tasks, CallFromAWindowsThread) {
  const ServerProcess server;
  Task_window();
  EXPECT_TRUE(Has("words"));
  EXPECT_TRUE(Has("event"));
}

TEST_F(Tasks, SurviveARestart) {
  auto server = std::make_unique<ServerProcess>();
  std::size_t before = 0;
  enough = [&] {
    if (shown.size() == 2 && before == 0) {
      before = shown.size();
      server->Kill();
      server = std::make_unique<ServerProcess>();
    }
    return before != 0 && shown.size() >= before + 2;
  };
  Task_restart();
  EXPECT_EQ(shown.back(), "1");  // that of an instance that was created
}

TEST_F(Tasks, SurviveAHungServer) {
  const std::string scenario = "tasks_hung.json";
  std::ofstream(scenario) << R"({"faults": [{"call": "ZorIntfGetStatus", "no_reply": true}]})";
  const ServerProcess server(L"--scenario tasks_hung.json");
  Task_hung();
  EXPECT_EQ(shown, (std::vector<std::string>{"the server does not answer", "1"}));
}

TEST_F(Tasks, ReceiveEventsInMyOwnThread) {
  const std::string scenario = "tasks_events.json";
  std::ofstream(scenario)
      << R"({"events": [{"every_ms": 20, "type": 4, "flag": true, "text": "tick"}]})";
  const ServerProcess server(L"--scenario tasks_events.json");
  enough = [] { return shown.size() >= 3; };
  Task_events();
  EXPECT_TRUE(Has("tick"));
}

TEST_F(Tasks, LoadTheLibraryOnlyWhenItIsThere) {
  Task_optional();
  EXPECT_EQ(shown, std::vector<std::string>{"0"});
}

/// Run by the next test, in a folder without the library.
TEST_F(Tasks, DISABLED_SayThatThereIsNoLibrary) {
  Task_optional();
  Task_ship();
  ASSERT_EQ(shown.size(), 2U);
  EXPECT_NE(shown[0].find("there is no such file"), std::string::npos) << shown[0];
  EXPECT_NE(shown[1].find("there is no such file"), std::string::npos) << shown[1];
}

TEST_F(Tasks, StartWhereThereIsNoLibrary) {
  const std::wstring folder = zor::testing::BinaryFolder() + L"\\manual_tasks_alone";
  const std::wstring program = folder + L"\\manual_tasks.exe";
  CreateDirectoryW(folder.c_str(), nullptr);
  ASSERT_TRUE(CopyFileW((zor::testing::BinaryFolder() + L"\\manual_tasks.exe").c_str(),
                        program.c_str(), FALSE));
  zor::testing::ChildProcess alone(
      L"manual_tasks_alone\\manual_tasks.exe",
      L"--gtest_also_run_disabled_tests --gtest_filter=*DISABLED_SayThat*");
  EXPECT_EQ(alone.Wait(), 0U);
}

TEST_F(Tasks, UnloadItSafely) {
  const ServerProcess server;
  Task_unload();
  EXPECT_EQ(shown, std::vector<std::string>{"it is unloaded"});
}

TEST_F(Tasks, ShipIt) {
  Task_ship();
  EXPECT_EQ(shown, std::vector<std::string>{std::to_string(ZOR_VERSION_MINOR)});
}

}  // namespace
