#include "tests/support/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "tests/kit/patience.h"
#include "tests/support/calls.h"

namespace zor::platform {

struct Thread {
  void (*routine)(void*) = nullptr;
  void* argument = nullptr;
  bool begins_at_join = false;
  std::atomic<std::thread::id> id{};  ///< while the routine runs
  std::thread thread;
};

}  // namespace zor::platform

namespace zor::scripted {
Threads& TheThreads() {
  static Threads threads;
  return threads;
}

void Threads::Reset() {
  const Lock lock(mutex_);
  begin_ = Begin::kAtOnce;
  free_ = false;
  alone_ = false;
  joining_ = false;
  ended_ = false;
  pause_.reset();
}

void Threads::SetBegin(Begin begin) {
  const Lock lock(mutex_);
  begin_ = begin;
}

void Threads::RunFreely() {
  const Lock lock(mutex_);
  free_ = true;
}

void Threads::RunAlone() {
  const Lock lock(mutex_);
  free_ = true;
  alone_ = true;
}

template <typename Condition>
void Threads::Wait(Lock& lock, Condition condition) {
  if (!changed_.wait_for(lock, testing::kPatience, condition)) {
    ADD_FAILURE() << "the background thread does not do what the test waits for";
  }
}

std::optional<std::uint32_t> Threads::WaitForPause(Lock& lock) {
  Wait(lock, [this] { return pause_ || ended_; });
  return pause_;
}

std::optional<std::uint32_t> Threads::WaitForPause() {
  Lock lock(mutex_);
  return WaitForPause(lock);
}

void Threads::EndPause() {
  const Lock lock(mutex_);
  pause_.reset();
  changed_.notify_all();
}

std::optional<std::uint32_t> Threads::RunToPause() {
  Lock lock(mutex_);
  pause_.reset();
  changed_.notify_all();
  return WaitForPause(lock);
}

void Threads::WaitForJoin() {
  Lock lock(mutex_);
  Wait(lock, [this] { return joining_; });
}

platform::Thread* Threads::Start(void (*routine)(void*), void* argument) {
  const bool fails = TheCalls().Enter(Function::kStartThread).has_value();
  TheCalls().Record(Function::kStartThread, fails ? "StartThread -> error" : "StartThread");
  if (fails) return nullptr;

  Begin begin = {};
  {
    const Lock lock(mutex_);
    begin = begin_;
    joining_ = false;
    ended_ = false;
    pause_.reset();
  }
  auto thread = std::make_unique<platform::Thread>();
  thread->routine = routine;
  thread->argument = argument;
  thread->begins_at_join = begin == Begin::kAtJoin;
  if (begin == Begin::kAtOnce) Run(*thread);
  return thread.release();
}

void Threads::Run(platform::Thread& thread) {
  thread.thread = std::thread([this, &thread] {
    thread.id = std::this_thread::get_id();
    thread.routine(thread.argument);
    thread.id = std::thread::id();
    const Lock lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  });
}

bool Threads::Join(platform::Thread* thread) {
  const std::unique_ptr<platform::Thread> owned(thread);
  const bool fails = TheCalls().Enter(Function::kJoinThread).has_value();
  TheCalls().Record(Function::kJoinThread, fails ? "JoinThread -> error" : "JoinThread");
  {
    const Lock lock(mutex_);
    joining_ = true;
    changed_.notify_all();
  }
  if (thread->begins_at_join) Run(*thread);
  // Also when it is made to fail: nothing may run on after the test.
  if (thread->thread.joinable()) thread->thread.join();
  return !fails;
}

void Threads::Sleep(std::uint32_t milliseconds) {
  static_cast<void>(TheCalls().Enter(Function::kSleep));
  TheCalls().Record(Function::kSleep, "Sleep ", milliseconds);
  Lock lock(mutex_);
  if (free_) {
    const bool yields = !alone_;
    lock.unlock();
    if (yields) std::this_thread::yield();
    return;
  }
  pause_ = milliseconds;
  changed_.notify_all();
  changed_.wait(lock, [this] { return !pause_ || joining_; });
  pause_.reset();
}

}  // namespace zor::scripted

namespace zor::platform {

using scripted::PlatformScope;
using scripted::TheThreads;

Thread* StartThread(void (*routine)(void*), void* argument) noexcept {
  const PlatformScope scope;
  return TheThreads().Start(routine, argument);
}

bool IsCurrentThread(const Thread* thread) noexcept {
  return thread->id.load() == std::this_thread::get_id();
}

bool JoinThread(Thread* thread) noexcept {
  const PlatformScope scope;
  return TheThreads().Join(thread);
}

void Sleep(std::uint32_t milliseconds) noexcept {
  const PlatformScope scope;
  TheThreads().Sleep(milliseconds);
}

}  // namespace zor::platform
