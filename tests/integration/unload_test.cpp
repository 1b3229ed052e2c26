// FreeLibrary: that it unloads, when it returns, and that nothing stays behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "tests/integration/support/cycles.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pausing_libraries.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/kit/events.h"
#include "tests/kit/messages.h"

namespace zor::testing {
namespace {

// A leak of any size, or a deadlock that comes once in some hundred times, shows in a thousand. The
// cycles that wait for something of their own are fewer, so that the whole stays below a minute.
constexpr int kCycles = 1000;
constexpr int kFloodCycles = 200;
constexpr int kCallbackCycles = 50;

// --- the measure itself

TEST(Usage, SeesALeakOfEachKind) {
  const Usage before = SettleWithin(Usage{}, 500);
  const Usage limit = LimitAfter(before);
  constexpr DWORD kShortMs = 100;
  EXPECT_TRUE(SettleWithin(limit, kShortMs).IsWithin(limit));
  {
    std::vector<std::unique_ptr<char>> blocks;
    for (int i = 0; i < kCycles; ++i) blocks.push_back(std::make_unique<char>());
    EXPECT_FALSE(SettleWithin(limit, kShortMs).IsWithin(limit));
  }
  EXPECT_TRUE(SettleWithin(limit, kPatienceMs).IsWithin(limit));
  {
    const Event one_handle;
    EXPECT_FALSE(SettleWithin(limit, kShortMs).IsWithin(limit));
  }
  EXPECT_TRUE(SettleWithin(limit, kPatienceMs).IsWithin(limit));
  {
    // Not the standard's thread: that one keeps some handles for the next.
    const Event end;
    const auto wait = [](void* event) -> DWORD { return WaitForSingleObject(event, kPatienceMs); };
    const UniqueHandle thread =
        Require(CreateThread(nullptr, 0, wait, end.get(), 0, nullptr), "CreateThread");
    EXPECT_GT(Usage::Now().threads, before.threads);
    end.Set();
    EXPECT_EQ(WaitForSingleObject(thread.get(), kPatienceMs), WAIT_OBJECT_0);
  }
  {
    void* pages = VirtualAlloc(nullptr, 2 * kAddressSpaceTolerance, MEM_RESERVE, PAGE_NOACCESS);
    EXPECT_FALSE(SettleWithin(limit, kShortMs).IsWithin(limit));
    VirtualFree(pages, 0, MEM_RELEASE);
  }
  EXPECT_TRUE(SettleWithin(limit, kPatienceMs).IsWithin(limit));
}

// --- one unload

TEST(Unload, TheLibraryIsGone) {
  LoadedLibrary library;
  ASSERT_NE(GetModuleHandleW(L"ZorInterface.dll"), nullptr);
  EXPECT_FALSE(IsUnmapped(library.Inside()));
  Unload(library);
  EXPECT_EQ(GetModuleHandleW(L"ZorInterface.dll"), nullptr);
}

TEST(Unload, TheFileCanBeDeleted) {
  const LibraryCopy copy(L"unload.dll");
  LoadedLibrary library(copy.path());
  Unload(library);
  EXPECT_TRUE(DeleteFileW(copy.path().c_str())) << GetLastError();
  EXPECT_EQ(GetFileAttributesW(copy.path().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(Unload, OneReferenceOfTwoDoesNotUnload) {
  RequestServer server;
  LoadedLibrary first;
  { LoadedLibrary second; }
  EXPECT_FALSE(IsUnmapped(first.Inside()));
  EXPECT_EQ(first->Start(1), 0U);
  Unload(first);
}

TEST(Unload, BothConnectionsEnd) {
  const std::set<HANDLE> before = ClientPipeEnds();
  PipeServer notify(kNotifyPipe, StayIdle);
  ServerEnd request(kRequestPipe);
  LoadedLibrary library;
  ASSERT_TRUE(notify.WaitForConnections(1));
  std::jthread server([&] {
    ASSERT_TRUE(request.WaitForClient());
    ASSERT_TRUE(request.Read());
    ASSERT_TRUE(request.Write(Build(Reply{})));
    EXPECT_FALSE(request.Read());
  });
  EXPECT_EQ(library->Start(1), 0U);
  Unload(library);
  server.join();
  EXPECT_EQ(ClientPipeEnds(), before);
}

TEST(Unload, ReturnsWithThePassThatIsUnderWay) {
  constexpr std::chrono::milliseconds kPass{100};
  PipeServer server(kNotifyPipe, StayIdle);
  std::chrono::nanoseconds fastest = std::chrono::nanoseconds::max();
  for (int i = 1; i <= 10; ++i) {
    LoadedLibrary library;
    ASSERT_TRUE(server.WaitForConnections(i));
    const auto start = std::chrono::steady_clock::now();
    Unload(library);
    fastest = std::min<std::chrono::nanoseconds>(fastest, std::chrono::steady_clock::now() - start);
  }
  // The fastest: a busy machine may hold up any of them.
  EXPECT_LT(fastest, 2 * kPass);
}

TEST(Unload, AnotherThreadMayUnload) {
  PipeServer server(kNotifyPipe, StayIdle);
  std::optional<LoadedLibrary> library;
  std::jthread([&] { library.emplace(); }).join();
  ASSERT_TRUE(server.WaitForConnections(1));
  std::jthread([&] { Unload(*library); }).join();
}

TEST(Unload, ALibraryThatIsLoadedAgainStartsAfresh) {
  EventRecorder recorder;
  const DebugCapture log;
  ServerEnd server(kNotifyPipe);
  LoadedLibrary library;
  library->RegEventCallback(EventRecorder::OnEvent);
  ASSERT_TRUE(server.WaitForClient());
  ASSERT_TRUE(server.Write(Build({.type = 1, .value = 1})));
  ASSERT_EQ(recorder.WaitFor(1).size(), 1U);
  Unload(library);

  server.Disconnect();
  const LoadedLibrary again;
  ASSERT_TRUE(server.WaitForClient());
  ASSERT_TRUE(server.Write(Build({.type = 1, .value = 2})));
  ASSERT_TRUE(server.Write(Build(Notification{.func_name = "over"})));
  log.WaitForOthers("[zor] Recieve data from notify channel: over\n");
  EXPECT_EQ(recorder.Seen().size(), 1U);
}

// --- many

TEST(UnloadOften, RightAfterLoading) {
  // The listener has often not begun by then.
  ExpectNothingLeftBehind(kCycles, [](int) {
    LoadedLibrary library;
    Unload(library);
  });
}

TEST(UnloadOften, WithoutAServer) {
  ExpectNothingLeftBehind(kCycles, [](int) {
    LoadedLibrary library;
    ASSERT_EQ(library->Start(1), 2U);
    Sleep(1);  // a pass or two of the listener, wherever the unload may then meet it
    Unload(library);
  });
}

TEST(UnloadOften, WithAnIdleServer) {
  PausingLibraries libraries(16);
  libraries.LoadAll();
  ExpectNothingLeftBehind(kCycles, [&](int) { libraries.Cycle(); });
}

TEST(UnloadOften, WhileNotificationsPourIn) {
  static std::atomic<int> events;
  static Event arrived;
  PipeServer server(kNotifyPipe, Flood, 2);
  ExpectNothingLeftBehind(kFloodCycles, [](int) {
    arrived.Reset();
    LoadedLibrary library;
    library->RegEventCallback([](ZorEvent*) {
      ++events;
      arrived.Set();
    });
    ASSERT_TRUE(arrived.WaitMs(kPatienceMs));
    Unload(library);
    const int at_unload = events;
    std::this_thread::yield();
    ASSERT_EQ(events, at_unload);
  });
}

TEST(UnloadOften, WhileACallbackRuns) {
  static std::atomic<bool> ended;
  static Event begun;
  PipeServer server(kNotifyPipe, Flood, 2);
  ExpectNothingLeftBehind(kCallbackCycles, [](int) {
    begun.Reset();
    ended = false;
    LoadedLibrary library;
    library->RegEventCallback([](ZorEvent*) {
      ended = false;
      begun.Set();
      Sleep(20);  // into the unload, which the application begins meanwhile
      ended = true;
    });
    ASSERT_TRUE(begun.WaitMs(kPatienceMs));
    Unload(library);
    ASSERT_TRUE(ended);
  });
}

TEST(UnloadOften, WhileTheServerComesAndGoes) {
  // Handles that the listener abandons when its server goes are meant to stay, so this counts
  // nothing but that every unload comes to its end.
  std::atomic<bool> stop{false};
  std::jthread server([&] {
    while (!stop) {
      PipeServer notify(kNotifyPipe, Flood);
      static_cast<void>(notify.WaitForConnections(1));
    }
  });
  for (int i = 0; i < kCallbackCycles; ++i) {
    LoadedLibrary library;
    if (i % 2 != 0) Sleep(static_cast<DWORD>(i % 7));
    ASSERT_NO_FATAL_FAILURE(Unload(library));
  }
  stop = true;
  // The last server there is may be waiting for a client.
  const LoadedLibrary last;
  server.join();
}

}  // namespace
}  // namespace zor::testing
