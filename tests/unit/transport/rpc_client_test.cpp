// Load and unload: what is built and taken down, in order, wherever the listener is meanwhile.
#include "transport/rpc_client.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <system_error>
#include <thread>

#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {

static std::string NameOf(Function function) {
  switch (function) {
    case Function::kOpenPipe:
      return "Open";
    case Function::kDebugOutput:
      return "Log";
    case Function::kSetMessageReadMode:
      return "SetMode";
    case Function::kPeekPipe:
      return "Check";
    case Function::kPeekAvailable:
      return "Peek";
    case Function::kReadPipe:
      return "Read";
    case Function::kDisconnectPipe:
      return "Disconnect";
    case Function::kClosePipe:
      return "Close";
    default:
      return "Sleep";
  }
}

static void PrintTo(Function function, std::ostream* out) { *out << NameOf(function); }

namespace {

using platform::PipeHandle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LoadAndUnload : public ListenerTest {
 protected:
  /// Loads, and connects the request channel to #8 after the listener's own to #4.
  void LoadAndConnectBoth() {
    ThePipes().Listen(kNotifyPipe);
    ThePipes().Listen(kRequestPipe,
                      [](const Bytes&) { return std::vector<Bytes>{Build(Reply{})}; });
    Load();
    ASSERT_EQ(TheThreads().WaitForPause(), 100U);
    ASSERT_EQ(ZorIntfStart(1), ZOR_SUCCESS);
    static_cast<void>(TheCalls().Take());
  }
};

TEST_F(LoadAndUnload, LoadStartsTheListenerAndOpensNoPipe) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  Load();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("StartThread"));
  const RpcClient& client = TheLibrary().client;
  EXPECT_EQ(std::wstring(client.request->name.data()), kRequestPipe);
  EXPECT_EQ(std::wstring(client.notify->name.data()), kNotifyPipe);
  EXPECT_EQ(client.request->handle.load(), PipeHandle::kInvalid);
  EXPECT_EQ(client.notify->handle.load(), PipeHandle::kInvalid);
  EXPECT_EQ(client.event_callback.load(), nullptr);
  EXPECT_FALSE(client.stopping);
  EXPECT_TRUE(TheLibrary().algorithm_ids.empty());
}

TEST_F(LoadAndUnload, LoadWithoutAThreadThrowsResourceUnavailableAndLeavesNothing) {
  TheCalls().Fail(Function::kStartThread, 8);
  std::optional<std::error_code> error;
  try {
    Load();
  } catch (const std::system_error& thrown) {
    error = thrown.code();
  }
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(*error, std::errc::resource_unavailable_try_again);
  EXPECT_THAT(TheCalls().Take(), ElementsAre("StartThread -> error"));
}

TEST_F(LoadAndUnload, UnloadClosesTheRequestPipeThenTheNotifyPipeAndThenJoins) {
  LoadAndConnectBoth();
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("DisconnectPipe #8", "ClosePipe #8",
                                             "DisconnectPipe #4", "ClosePipe #4", "JoinThread"));
}

// What a call that should not be under way has opened meanwhile.
TEST_F(LoadAndUnload, UnloadClosesAgainTheRequestPipeThenTheNotifyPipe) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  ThePipes().Listen(kNotifyPipe);
  ThePipes().Listen(kRequestPipe);
  Load();
  RpcClient& client = TheLibrary().client;
  TheCalls().Before(Function::kJoinThread, [&client] {
    EXPECT_TRUE(ConnectToServer(*client.notify));
    EXPECT_TRUE(ConnectToServer(*client.request));
    static_cast<void>(TheCalls().Take());
  });
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("JoinThread", "DisconnectPipe #8", "ClosePipe #8",
                                             "DisconnectPipe #4", "ClosePipe #4"));
}

TEST_F(LoadAndUnload, UnloadWithoutAServerClosesNothing) {
  Load();
  ASSERT_EQ(TheThreads().WaitForPause(), 1U);
  static_cast<void>(TheCalls().Take());
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("JoinThread"));
}

TEST_F(LoadAndUnload, UnloadBeforeTheListenerHasBegunDoesNotWaitForIt) {
  TheThreads().SetBegin(Threads::Begin::kNever);
  Load();
  static_cast<void>(TheCalls().Take());
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("JoinThread"));
}

TEST_F(LoadAndUnload, AListenerThatBeginsWithTheUnloadReturnsAtOnce) {
  ThePipes().Listen(kNotifyPipe);
  TheThreads().SetBegin(Threads::Begin::kAtJoin);
  Load();
  static_cast<void>(TheCalls().Take());
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("JoinThread"));
}

TEST_F(LoadAndUnload, AHandleThatTheListenerIsUsingIsClosedAfterItsPass) {
  LoadAndConnectBoth();
  std::atomic<bool> reached{false};
  TheCalls().Before(Function::kPeekAvailable, [&] {
    reached = true;
    TheThreads().WaitForJoin();
  });
  TheThreads().EndPause();
  while (!reached) std::this_thread::yield();
  Unload();
  EXPECT_THAT(TheCalls().Take(), ElementsAre("PeekPipe #4 -> ok",  //
                                             "DisconnectPipe #8", "ClosePipe #8", "JoinThread",
                                             "PeekAvailable #4 -> 0", "Sleep 100",
                                             "DisconnectPipe #4", "ClosePipe #4"));
}

TEST_F(LoadAndUnload, AHandleThatThePassUnderWayOpensIsClosedAfterIt) {
  ThePipes().Listen(kNotifyPipe);
  std::atomic<bool> reached{false};
  TheCalls().Before(Function::kOpenPipe, [&] {
    reached = true;
    TheThreads().WaitForJoin();
  });
  Load();
  while (!reached) std::this_thread::yield();
  Unload();
  EXPECT_THAT(
      TheCalls().Take(),
      ElementsAre("StartThread", "JoinThread", "OpenPipe \\\\.\\Pipe\\ZorSWNRpipeNotify -> #4",
                  "DebugOutput [zor] ConnectToServer() was successful.\n",
                  "SetMessageReadMode #4 -> ok", "DebugOutput [zor] Connection was successful.\n",
                  "PeekAvailable #4 -> 0", "Sleep 100", "DisconnectPipe #4", "ClosePipe #4"));
}

TEST_F(LoadAndUnload, WhileACallbackRunsTheHandlesAreClosedAndTheUnloadWaitsForIt) {
  static std::atomic<int> stage{0};
  stage = 0;
  LoadAndConnectBoth();
  ZorIntfRegEventCallback([](ZorEvent*) {
    stage = 1;
    TheThreads().WaitForJoin();
    stage = 2;
  });
  ThePipes().Send(kNotifyPipe, Build(Notification{.type = 1, .value = 3}));
  TheThreads().EndPause();
  while (stage != 1) std::this_thread::yield();
  static_cast<void>(TheCalls().Take());
  Unload();
  EXPECT_EQ(stage, 2);
  EXPECT_THAT(TheCalls().Take(), ElementsAre("DisconnectPipe #8", "ClosePipe #8",
                                             "DisconnectPipe #4", "ClosePipe #4", "JoinThread"));
}

TEST_F(LoadAndUnload, QueuedMessagesAreNotDeliveredOnceTheUnloadHasBegun) {
  static std::atomic<int> delivered{0};
  delivered = 0;
  LoadAndConnectBoth();
  ZorIntfRegEventCallback([](ZorEvent*) {
    if (++delivered == 1) TheThreads().WaitForJoin();
  });
  for (int i = 0; i < 5; ++i) ThePipes().Send(kNotifyPipe, Build(Notification{.type = 0}));
  TheThreads().EndPause();
  while (delivered == 0) std::this_thread::yield();
  Unload();
  EXPECT_EQ(delivered, 1);
}

TEST_F(LoadAndUnload, FromTheCallbackThrowsDeadlockAndTheListenerStillEnds) {
  static std::optional<std::error_code> error;
  error.reset();
  LoadAndConnectBoth();
  ZorIntfRegEventCallback([](ZorEvent*) {
    try {
      TheLibrary().client.Shutdown();
    } catch (const std::system_error& thrown) {
      error = thrown.code();
    }
  });
  ThePipes().Send(kNotifyPipe, Build(Notification{.type = 0}));
  EXPECT_EQ(TheThreads().RunToPause(), std::nullopt);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(*error, std::errc::resource_deadlock_would_occur);
  Unload();
}

TEST_F(LoadAndUnload, AJoinThatFailsThrowsNoSuchProcess) {
  LoadAndConnectBoth();
  TheCalls().Fail(Function::kJoinThread, 0);
  std::optional<std::error_code> error;
  RpcClient& client = TheLibrary().client;
  try {
    client.Shutdown();
  } catch (const std::system_error& thrown) {
    error = thrown.code();
  }
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(*error, std::errc::no_such_process);
  client.listener.reset();  // what cannot be joined must not be joined again
}

TEST_F(LoadAndUnload, ASecondShutdownDoesNothing) {
  LoadAndConnectBoth();
  TheLibrary().client.Shutdown();
  static_cast<void>(TheCalls().Take());
  TheLibrary().client.Shutdown();
  EXPECT_THAT(TheCalls().Take(), IsEmpty());
}

/// The unload comes while the listener is inside one call of the platform, whichever.
class UnloadDuring : public LoadAndUnload, public ::testing::WithParamInterface<Function> {};

TEST_P(UnloadDuring, ClosesNoHandleInUseAndLeavesNone) {
  const auto test_thread = std::this_thread::get_id();
  std::atomic<bool> reached{false};
  ThePipes().Listen(kNotifyPipe);
  ThePipes().LetOthersTakeNumbers(true);
  TheThreads().RunFreely();
  TheCalls().StopRecording();
  // Where the listener itself closes: a pipe that breaks between the two peeks.
  TheCalls().Fail(Function::kPeekAvailable, kErrorBrokenPipe, 5);
  TheCalls().Before(GetParam(), [&] {
    if (std::this_thread::get_id() == test_thread || reached.exchange(true)) return;
    TheThreads().WaitForJoin();
  });
  Load();
  while (!reached) {
    // One at a time: the listener sleeps only when it has read all of them.
    if (ThePipes().Waiting(kNotifyPipe) == 0) {
      ThePipes().Send(kNotifyPipe, Build(Notification{.type = 0}));
    }
    std::this_thread::yield();
  }
  Unload();
  EXPECT_EQ(TheCalls().Count(Function::kJoinThread), 1);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), TheCalls().Count(Function::kClosePipe));
}

INSTANTIATE_TEST_SUITE_P(Steps, UnloadDuring,
                         ::testing::Values(Function::kOpenPipe, Function::kDebugOutput,
                                           Function::kSetMessageReadMode, Function::kPeekPipe,
                                           Function::kPeekAvailable, Function::kReadPipe,
                                           Function::kDisconnectPipe, Function::kClosePipe,
                                           Function::kSleep),
                         [](const auto& suite) { return NameOf(suite.param); });

}  // namespace
}  // namespace zor::scripted
