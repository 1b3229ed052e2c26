#include "tests/integration/support/pipe_server.h"

#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/kit/messages.h"

namespace zor::testing {

PipeServer::PipeServer(const wchar_t* name, Session session, std::size_t instances,
                       const ServerEnd::Options& options)
    : session_(std::move(session)) {
  for (std::size_t i = 0; i < instances; ++i) {
    ends_.push_back(std::make_unique<ServerEnd>(name, options));
  }
  for (const auto& end : ends_) threads_.emplace_back([this, &end = *end] { Serve(end); });
}

PipeServer::~PipeServer() {
  for (const auto& end : ends_) end->Cancel();
  threads_.clear();
}

int PipeServer::connections() const {
  AcquireSRWLockShared(&lock_);
  const int count = connections_;
  ReleaseSRWLockShared(&lock_);
  return count;
}

bool PipeServer::WaitForConnections(int count) {
  AcquireSRWLockExclusive(&lock_);
  // Each one that connects begins the patience anew.
  while (connections_ < count &&
         SleepConditionVariableSRW(&connected_, &lock_, kPatienceMs, 0) != FALSE) {
  }
  const int arrived = connections_;
  ReleaseSRWLockExclusive(&lock_);
  if (arrived >= count) return true;
  std::cerr << "waited for " << count << " clients to connect: " << arrived
            << " did, and no more for " << kPatienceMs << " ms\n";
  return false;
}

void PipeServer::Serve(ServerEnd& end) {
  while (!end.IsCancelled()) {
    // Not within the time limit is no failure: nobody may ever come.
    if (!end.WaitForClient()) continue;
    AcquireSRWLockExclusive(&lock_);
    ++connections_;
    ReleaseSRWLockExclusive(&lock_);
    WakeAllConditionVariable(&connected_);
    session_(end);
    end.Disconnect();
  }
}

void StayIdle(ServerEnd& end) {
  while (!end.IsCancelled() && end.Read()) {
  }
}

void AnswerAll(ServerEnd& end) {
  const Bytes reply = Build(Reply{});
  while (!end.IsCancelled() && end.Read() && end.Write(reply)) {
  }
}

void Flood(ServerEnd& end) {
  const Bytes message = Build(Notification{.type = 5, .value = 1, .text = "text"});
  while (!end.IsCancelled() && end.Write(message)) {
  }
}

RequestServer::RequestServer(std::size_t instances, const ServerEnd::Options& options)
    : server_(
          kRequestPipe, [this](ServerEnd& end) { Serve(end); }, instances, options) {}

std::vector<Bytes> RequestServer::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

Bytes RequestServer::OnlyRequest() const {
  const auto requests = Requests();
  if (requests.size() != 1) {
    throw std::runtime_error("expected one request, got " + std::to_string(requests.size()));
  }
  return requests.front();
}

void RequestServer::Queue(Step step) {
  const std::lock_guard lock(mutex_);
  steps_.push_back(std::move(step));
}

RequestServer::Step RequestServer::Next(Bytes request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(std::move(request));
  if (steps_.empty()) return {.messages = {Build(Reply{})}};
  Step step = std::move(steps_.front());
  steps_.pop_front();
  return step;
}

void RequestServer::Serve(ServerEnd& end) {
  while (auto request = end.Read()) {
    const Step step = Next(std::move(*request));
    for (const Bytes& message : step.messages) {
      if (!end.Write(message)) return;
    }
    if (step.hang_up) return;
  }
}

}  // namespace zor::testing
