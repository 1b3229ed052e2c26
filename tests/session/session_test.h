/// What the tests of sessions share.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "interface/zor_session.hpp"
#include "tests/kit/patience.h"
#include "tests/session/fake_system.h"

namespace zor::testing {

using namespace std::chrono_literals;

/// The events that a session has told, in their order.
class EventLog {
 public:
  void Add(const SessionEvent& event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(event);
    }
    arrived_.notify_all();
  }

  /// Waits until there are so many, and returns them. Throws when they do not come.
  std::vector<SessionEvent> WaitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    if (!WaitWhileGrowing(
            arrived_, lock, [&] { return events_.size(); }, count)) {
      throw std::runtime_error("there were " + std::to_string(events_.size()) + " events");
    }
    return events_;
  }

  std::vector<SessionEventKind> WaitForKinds(std::size_t count) {
    std::vector<SessionEventKind> kinds;
    for (const SessionEvent& event : WaitFor(count)) kinds.push_back(event.kind);
    return kinds;
  }

  [[nodiscard]] std::size_t size() {
    const std::lock_guard lock(mutex_);
    return events_.size();
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<SessionEvent> events_;
};

/// The error of a call that has one; none when it succeeds. Throws when the session never tells.
template <typename T>
std::error_code ErrorOf(std::future<T> future) {
  if (future.wait_for(2 * kPatience) != std::future_status::ready) {
    throw std::runtime_error("the session does not tell what became of a call");
  }
  try {
    static_cast<void>(future.get());
    return {};
  } catch (const std::system_error& error) {
    return error.code();
  }
}

/// Asks for a call with a limit that passes while the call is made, and returns its error. On a
/// machine that is busy the limit may pass before: then nothing was sent, and a longer one is
/// tried.
template <typename Prepare, typename Ask>
std::error_code ErrorOfLateCall(Prepare prepare, Ask ask) {
  for (std::chrono::milliseconds limit(5);; limit *= 4) {
    prepare();
    const std::error_code error = ErrorOf(ask(limit));
    if (error != SessionError::kNotSent) return error;
  }
}

/// A machine, and a session on it that looks for the server only when it is asked to: what is sent
/// is then what the test asks for.
class SessionTest : public ::testing::Test {
 protected:
  SessionTest() {
    options_.limit = kPatience;
    options_.look_interval = std::chrono::hours(1);
    options_.on_event = [this](const SessionEvent& event) { log_.Add(event); };
  }

  // Before what the test's server answers with.
  void TearDown() override { session_.reset(); }

  /// Opens the session, and waits for its first look at the server.
  Session& Open() {
    session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
    EXPECT_TRUE(session_->WaitForServer(kPatience));
    static_cast<void>(machine_.TakeRequests());
    return *session_;
  }

  /// The error of a call that meets this fate, and is not answered before its deadline.
  template <typename Ask>
  std::error_code ErrorOfLate(Fate fate, Ask ask) {
    return ErrorOfLateCall(
        [&] {
          machine_.AnswerFromNowOn();
          machine_.Next(fate);
        },
        ask);
  }
  std::error_code ErrorOfLateGetInfo(Fate fate) {
    return ErrorOfLate(fate, [this](Limit limit) { return session_->GetInfo(limit); });
  }

  [[nodiscard]] SessionInstance MakeInstance(std::uint32_t handle = 5) {
    machine_.answer = [handle](const FakeRequest&) { return FakeReply{.number = handle}; };
    SessionInstance instance = session_->Create("general").get();
    static_cast<void>(machine_.TakeRequests());
    return instance;
  }

  FakeMachine machine_;
  EventLog log_;
  SessionOptions options_;
  std::optional<Session> session_;
};

}  // namespace zor::testing
