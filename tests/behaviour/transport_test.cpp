// The request pipe: when it is opened, kept and abandoned.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kConnected = "[zor] ConnectToServer() was successful.\n";

class Transport : public ::testing::Test {
 protected:
  /// A call that has an output, to see which reply it got.
  ZorResult GetStatus() { return library_->GetStatus(1, &status_); }

  Rig rig_;
  std::uint32_t status_ = 0xDEAD;
  Library library_;
};

TEST_F(Transport, OpensNoRequestPipeBeforeACall) {
  const RequestServer server;
  EXPECT_EQ(library_->RegEventCallback([](ZorEvent*) {}), 0U);
  EXPECT_EQ(library_->RegEventCallback(nullptr), 0U);
  EXPECT_EQ(server.connections(), 0);
  EXPECT_THAT(rig_.log().Mine(), IsEmpty());
  EXPECT_EQ(GetStatus(), 0U);
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(Transport, AbandonsAHandleAtEachRestartAndClosesTheLast) {
  constexpr std::size_t kRestarts = 5;
  for (std::size_t restart = 0; restart < kRestarts; ++restart) {
    RequestServer server;
    server.Answer(Reply{.status = static_cast<std::uint8_t>(restart)});
    EXPECT_EQ(GetStatus(), 0U);
    EXPECT_EQ(status_, restart);
    // Each handle that had ceased to answer was abandoned on purpose, never closed.
    EXPECT_EQ(rig_.PipeEnds(), restart + 1);
  }
  EXPECT_EQ(rig_.log().Mine(), std::vector<std::string>(kRestarts, kConnected));

  // The unload closes the one that is in use, and only that.
  library_.Unload();
  EXPECT_EQ(rig_.PipeEnds(), kRestarts - 1);
}

TEST_F(Transport, ReturnsTwoOnceTheServerHasGone) {
  std::optional<RequestServer> server(std::in_place);
  EXPECT_EQ(GetStatus(), 0U);
  server.reset();
  EXPECT_EQ(GetStatus(), 2U);
  EXPECT_THAT(rig_.log().Mine(),
              ElementsAre(kConnected, "[zor] Error occurred while connecting to the server: 2\n"));
}

TEST_F(Transport, LeavesASecondReplyToTheNextCall) {
  RequestServer server;
  server.Answer({Build(Reply{.status = 21}), Build(Reply{.status = 22})});
  server.Answer(Reply{.status = 23});
  for (const std::uint32_t status : {21U, 22U}) {
    EXPECT_EQ(GetStatus(), 0U);
    EXPECT_EQ(status_, status);
  }
}

}  // namespace
}  // namespace zor::rig
