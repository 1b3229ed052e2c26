// What only real pipes show: the mode of the library's handles, buffers that fill, late replies.
#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/events.h"
#include "tests/kit/messages.h"

namespace zor::testing {
namespace {

const char* const kListening = "[zor] Connection was successful.\n";

/// The one handle that answers, of those that are not among `before`, reads message by message.
void ExpectMessageMode(const std::set<HANDLE>& before) {
  int answering = 0;
  for (const HANDLE end : ClientPipeEnds()) {
    if (before.contains(end)) continue;
    if (PeekNamedPipe(end, nullptr, 0, nullptr, nullptr, nullptr) == FALSE) continue;
    ++answering;
    DWORD mode = 0;
    ASSERT_TRUE(GetNamedPipeHandleStateW(end, &mode, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(mode & PIPE_READMODE_MESSAGE, static_cast<DWORD>(PIPE_READMODE_MESSAGE));
  }
  EXPECT_EQ(answering, 1);
}

TEST(RequestPipe, IsReadMessageByMessage) {
  const std::set<HANDLE> before = ClientPipeEnds();
  RequestServer server;
  const LoadedLibrary library;
  EXPECT_EQ(library->Start(1), 0U);
  ExpectMessageMode(before);
}

TEST(RequestPipe, WaitsForALateReply) {
  ServerEnd end(kRequestPipe);
  const LoadedLibrary library;
  Event called;
  std::jthread server([&] {
    ASSERT_TRUE(end.WaitForClient());
    ASSERT_TRUE(end.Read());
    // The call is now waiting for what is not there yet, and has no time limit.
    EXPECT_FALSE(called.WaitMs(200));
    ASSERT_TRUE(end.Write(Build(Reply{.status = 28})));
  });
  std::uint32_t status = 0;
  EXPECT_EQ(library->GetStatus(1, &status), 0U);
  called.Set();
  EXPECT_EQ(status, 28U);
}

TEST(NotificationPipe, IsReadMessageByMessageAfterEachRestart) {
  const std::set<HANDLE> before = ClientPipeEnds();
  const DebugCapture log;
  auto server = std::make_unique<ServerEnd>(kNotifyPipe);
  const LoadedLibrary library;
  for (int connection = 1; connection <= 4; ++connection) {
    if (connection > 1) {
      server.reset();
      server = std::make_unique<ServerEnd>(kNotifyPipe);
    }
    ASSERT_TRUE(server->WaitForClient());
    log.WaitForOthers(kListening, connection);
  }
  ExpectMessageMode(before);
}

TEST(NotificationPipe, DeliversABurstOfMoreThanItHolds) {
  EventRecorder recorder;
  ServerEnd server(kNotifyPipe, {.buffer_size = 2048});
  LoadedLibrary library;
  library->RegEventCallback(EventRecorder::OnEvent);
  ASSERT_TRUE(server.WaitForClient());

  constexpr std::uint32_t kBurst = 200;
  const std::string text(500, 'y');
  std::jthread sender([&] {
    for (std::uint32_t i = 0; i < kBurst; ++i) {
      ASSERT_TRUE(server.Write(Build(Notification{.type = 5, .value = i, .text = text})));
    }
  });
  const auto seen = recorder.WaitFor(kBurst);
  ASSERT_EQ(seen.size(), kBurst);
  for (std::uint32_t i = 0; i < kBurst; ++i) {
    EXPECT_EQ(seen[i].value, i);
    EXPECT_EQ(seen[i].text, text);
  }
}

TEST(CommonHeap, OwnsTheBlocksThatTheLibraryHandsOut) {
  RequestServer server;
  server.Answer(Build(Reply{.blob_result = Reply::Block{"another", 3, Bytes{7, 8, 9}}}));
  const LoadedLibrary library;
  char name[] = "block";
  const ZorBlob input{name, 0, nullptr};
  ZorBlob output{};
  EXPECT_EQ(library->GetSerialized(1, &input, &output), 0U);
  // This program's own runtime: the blocks are its heap's, and of that size.
  EXPECT_EQ(_msize(output.data), 3U);
  EXPECT_EQ(_msize(output.name), sizeof(name));
  std::free(output.data);
  std::free(output.name);

  server.Answer(Build(Reply{.blob_result = Reply::Block{"another", 0, Bytes{7}}}));
  EXPECT_EQ(library->GetSerialized(1, &input, &output), 0U);
  EXPECT_EQ(_msize(output.data), 0U);
  EXPECT_EQ(library->FreeSerialized(1, &output), 0U);
  std::free(output.name);
}

}  // namespace
}  // namespace zor::testing
