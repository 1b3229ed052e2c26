/// Pipe servers on threads of their own.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/integration/support/server_end.h"

namespace zor::testing {

/// Serves as many clients at once as it has instances, each by running `session` from the client's
/// connecting until `session` returns. The pipe exists when the constructor returns.
class PipeServer {
 public:
  using Session = std::function<void(ServerEnd&)>;

  PipeServer(const wchar_t* name, Session session, std::size_t instances = 1,
             const ServerEnd::Options& options = {});
  PipeServer(const PipeServer&) = delete;
  PipeServer& operator=(const PipeServer&) = delete;
  ~PipeServer();

  /// How many clients have connected so far.
  [[nodiscard]] int connections() const;
  /// Waits until that many have. False when they do not come; how many did is on standard error.
  [[nodiscard]] bool WaitForConnections(int count);

 private:
  void Serve(ServerEnd& end);

  Session session_;
  // The system's own lock, not the standard's: that one takes handles as it goes along, and tests
  // count them.
  mutable SRWLOCK lock_{};
  CONDITION_VARIABLE connected_{};
  int connections_ = 0;
  std::vector<std::unique_ptr<ServerEnd>> ends_;
  std::vector<std::jthread> threads_;
};

/// A session that sends nothing and waits until the client is gone.
void StayIdle(ServerEnd& end);

/// A session that answers every request with a success and keeps none.
void AnswerAll(ServerEnd& end);

/// A session that sends notifications without a pause until the client is gone.
void Flood(ServerEnd& end);

/// The request pipe's server: records every request and answers each with what the test has queued,
/// or else with a plain success.
class RequestServer {
 public:
  explicit RequestServer(std::size_t instances = 1, const ServerEnd::Options& options = {});

  /// The next unanswered request gets these messages, each written as one.
  void Answer(Bytes message) { Queue({.messages = {std::move(message)}}); }
  void Answer(std::vector<Bytes> messages) { Queue({.messages = std::move(messages)}); }
  /// The next unanswered request is read, and the connection ended.
  void HangUp() { Queue({.messages = {}, .hang_up = true}); }

  [[nodiscard]] std::vector<Bytes> Requests() const;
  /// The one request there was; throws when there is another number of them.
  [[nodiscard]] Bytes OnlyRequest() const;
  [[nodiscard]] int connections() const { return server_.connections(); }

 private:
  struct Step {
    std::vector<Bytes> messages;
    bool hang_up = false;
  };

  void Queue(Step step);
  [[nodiscard]] Step Next(Bytes request);
  void Serve(ServerEnd& end);

  mutable std::mutex mutex_;
  std::deque<Step> steps_;
  std::vector<Bytes> requests_;
  PipeServer server_;
};

}  // namespace zor::testing
