// Every remote call with every way of a wrong reply, on the real request pipe.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string>
#include <thread>

#include "tests/faults/tally.h"
#include "tests/hostile/support/mutations.h"
#include "tests/hostile/support/remote_calls.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using faults::WholeCampaign;
using testing::DebugCapture;
using testing::LoadedLibrary;
using testing::ServerEnd;

constexpr std::size_t kReplyLimit = 1024;

std::string Hex(const Bytes& bytes) {
  constexpr std::size_t kMost = 200;
  std::string text = std::to_string(bytes.size()) + " bytes: ";
  for (const std::uint8_t byte : std::span(bytes).first(std::min(kMost, bytes.size()))) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x ", static_cast<unsigned>(byte));
    text += digits.data();
  }
  return text;
}

/// One thread is both ends: the reply is in the pipe before the call is made, which finds it there
/// as soon as it has written.
class Replies : public ::testing::Test {
 protected:
  Replies() {
    std::jthread first([this] {
      EXPECT_TRUE(server_.WaitForClient());
      EXPECT_TRUE(server_.Read());
      EXPECT_TRUE(server_.Write(testing::Build(testing::Reply{})));
    });
    EXPECT_EQ(library_->Start(1), ZOR_SUCCESS);
  }

  void TearDown() override {
    // A reply without a list frees the last one.
    for (Records* records : {&front_, &back_}) {
      ASSERT_TRUE(server_.Write(testing::Build(testing::Reply{})));
      ASSERT_EQ(library_->Enum(0, &*records->list), ZOR_SUCCESS);
      ASSERT_TRUE(server_.Read());
      EXPECT_EQ(records->list->items, nullptr);
    }
  }

  /// Runs `wrong`, which tries replies, for each of the twelve calls. How many it tried.
  template <typename Wrong>
  std::size_t ForEachCall(const Wrong& wrong) {
    for (const RemoteCall& remote : RemoteCalls()) {
      remote_ = &remote;
      wrong(remote.reply());
      // Whatever came before, a good reply is taken.
      Try(remote.reply());
      Try(remote.reply());
    }
    return replies_;
  }

  /// One call with this reply, its outputs against either forbidden page in turn; in the whole
  /// campaign against both.
  void Try(const Bytes& reply) {
    if (HasFailure()) return;
    const bool front = replies_ % 2 == 0;
    if (WholeCampaign() || front) Call(reply, front_);
    if (WholeCampaign() || !front) Call(reply, back_);
    if (HasFailure()) FAIL() << remote_->name << " with " << Hex(reply);
  }

 private:
  void Call(const Bytes& reply, Records& records) {
    const RemoteCall& remote = *remote_;
    const Judgement first = Judge(remote, reply);
    if (first.is_too_long_a_list) return;
    ++replies_;
    ASSERT_TRUE(server_.Write(reply));
    // One that is too long is a failure without a line, and what is left of it the next reply.
    std::span<const std::uint8_t> rest(reply);
    for (; rest.size() > kReplyLimit; rest = rest.subspan(kReplyLimit)) {
      Expect({.result = ZOR_TRANSPORT_FAILURE}, records);
    }
    const Bytes last(rest.begin(), rest.end());
    Expect(Judge(remote, last), records);
  }

  void Expect(const Judgement& expected, Records& records) {
    const RemoteCall& remote = *remote_;
    records.Remember();
    DebugCapture::Clear();
    EXPECT_EQ(remote.call(library_.exports(), records.All()), expected.result);
    const std::vector<std::string> log = log_.Mine();
    EXPECT_EQ(log.size(), expected.log.empty() ? 0U : 1U);
    EXPECT_EQ(log.empty() ? "" : log.front(), expected.log);
    if (expected.taken == nullptr) {
      EXPECT_TRUE(records.Untouched());
    } else {
      EXPECT_TRUE(Took(remote, *expected.taken, records));
      EXPECT_TRUE(records.OnlyOutputsTouched());
    }
    records.ReleaseOutput(library_.exports());
    EXPECT_TRUE(server_.Read());
  }

  // Keeps the listener's own lines out of the log.
  ServerEnd notify_{testing::kNotifyPipe};
  ServerEnd server_{testing::kRequestPipe};
  Records front_{Edge::kFront};
  Records back_{Edge::kBack};
  DebugCapture log_;
  LoadedLibrary library_;
  const RemoteCall* remote_ = nullptr;
  std::size_t replies_ = 0;
};

TEST_F(Replies, WithEachByteChanged) {
  const auto try_it = [this](const Bytes& reply) { Try(reply); };
  const std::size_t tried = ForEachCall([&](const Bytes& good) {
    ForEachChangedByte(good, WholeCampaign(), try_it);
    ForEachChangedByte(testing::Build(testing::FullReply(0)), false, try_it);
  });
  Tally("replies with a byte changed", tried);
}

TEST_F(Replies, OfEachLength) {
  constexpr std::size_t kLongest = 1100;
  const auto try_it = [this](const Bytes& reply) { Try(reply); };
  const std::size_t tried = ForEachCall([&](const Bytes& good) {
    ForEachLength(good, kLongest, 0, try_it);
    if (!WholeCampaign()) return;
    for (const std::uint8_t filler : Bytes{0x00, 0x01, 0x80, 0xFF}) {
      ForEachLength(good, kLongest, filler, try_it);
      ForEachLength({}, kLongest, filler, try_it);
    }
  });
  Tally("replies of each length from 0 to 1100", tried);
}

TEST_F(Replies, OfGarbage) {
  Random random(Seed());
  const std::size_t count = Scaled(300, 20'000);
  const std::size_t tried = ForEachCall([&](const Bytes& good) {
    for (std::size_t i = 0; i < count; ++i) {
      Try(Garbage(random, 200));
      Try(Damaged(random, good));
      Try(Damaged(random, testing::Build(testing::FullReply(0))));
    }
    for (std::size_t i = 0; i < count / 30; ++i) Try(Garbage(random, 3000));
  });
  Tally("replies of garbage", tried);
}

}  // namespace
}  // namespace zor::hostile
