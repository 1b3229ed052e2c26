#include "tests/schedules/scheduler.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace zor::schedules {

Scheduler::Scheduler(Choose choose, bool trace) : choose_(std::move(choose)), trace_(trace) {}

void Scheduler::Start(const char* name, std::function<void()> body) {
  threads_.emplace_back(name, std::move(body));
}

End Scheduler::Run() {
  next_ = Pick(false);
  while (next_ != kNone) {
    current_ = next_;
    threads_[current_].fiber.Resume();
    if (threads_[current_].fiber.ended()) next_ = Pick(false);
  }
  current_ = kNone;
  if (endless_) return End::kEndless;
  const bool all_ended = std::all_of(threads_.begin(), threads_.end(),
                                     [](const Thread& thread) { return thread.fiber.ended(); });
  return all_ended ? End::kAllEnded : End::kDeadlock;
}

std::string Scheduler::Describe() const {
  std::string text;
  for (const Thread& thread : threads_) {
    if (thread.fiber.ended()) continue;
    text += std::string(text.empty() ? "" : "; ") + thread.name + ": " + thread.doing;
  }
  return text;
}

void Scheduler::Point(const char* step, std::intptr_t detail) {
  if (current_ == kNone) return;
  threads_[current_].doing = step;
  if (++steps_ == kStepLimit) {
    endless_ = true;
    next_ = kNone;
    Fiber::Suspend();
  }
  Yield(true);
  if (trace_) {
    std::printf("  %-10s %s %lld\n", threads_[current_].name, step, static_cast<long long>(detail));
  }
}

void Scheduler::WaitUntil(std::function<bool()> ready, const char* reason) {
  if (ready()) return;
  Thread& self = threads_[current_];
  if (trace_) std::printf("  %-10s %s\n", self.name, reason);
  self.doing = reason;
  self.ready = std::move(ready);
  Yield(false);
  self.ready = {};
}

void Scheduler::Sleep() {
  Point("sleeps");
  Thread& self = threads_[current_];
  self.asleep_since = steps_;
  Yield(false);
  self.asleep_since = 0;
}

int Scheduler::current() const { return current_ == kNone ? -1 : static_cast<int>(current_); }

bool Scheduler::CanGoOn(const Thread& thread) {
  return !thread.fiber.ended() && (!thread.ready || thread.ready());
}

/// Which thread goes on. The ways to go on are in a fixed order: those that are not forced, first.
std::size_t Scheduler::Pick(bool current_goes_on) {
  options_.clear();
  if (current_goes_on) options_.push_back(current_);
  std::size_t unforced = options_.size();

  // The others in turn, those that are awake first.
  const std::size_t count = threads_.size();
  const std::size_t first = current_ == kNone ? 0 : current_ + 1;
  const auto asleep = [this](std::size_t number) { return threads_[number].asleep_since != 0; };
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t number = (first + i) % count;
    if (current_goes_on && number == current_) continue;
    if (!asleep(number) && CanGoOn(threads_[number])) options_.push_back(number);
  }
  if (!current_goes_on) unforced = options_.size();
  const auto awake = static_cast<std::ptrdiff_t>(options_.size());
  for (std::size_t number = 0; number < count; ++number) {
    if (asleep(number)) options_.push_back(number);
  }
  std::sort(options_.begin() + awake, options_.end(), [this](std::size_t left, std::size_t right) {
    return threads_[left].asleep_since < threads_[right].asleep_since;
  });

  if (options_.empty()) return kNone;
  if (options_.size() == 1) return options_.front();
  return options_[choose_(options_.size(), std::max<std::size_t>(unforced, 1))];
}

void Scheduler::Yield(bool goes_on) {
  next_ = Pick(goes_on);
  if (next_ != current_) Fiber::Suspend();
}

}  // namespace zor::schedules
