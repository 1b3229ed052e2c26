#include "tests/schedules/fiber.h"

#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace zor::schedules {
namespace {

constexpr std::size_t kStackSize = std::size_t{256} << 10U;

Fiber* running = nullptr;

#if defined(__SANITIZE_ADDRESS__)
void BeginSwitch(void** left, const void* stack, std::size_t size) {
  __sanitizer_start_switch_fiber(left, stack, size);
}
void EndSwitch(void* entered, const void** stack, std::size_t* size) {
  __sanitizer_finish_switch_fiber(entered, stack, size);
}
void ForgetFrames(std::byte* stack) { __asan_unpoison_memory_region(stack, kStackSize); }
#else
void BeginSwitch(void** /*left*/, const void* /*stack*/, std::size_t /*size*/) {}
void EndSwitch(void* /*entered*/, const void** /*stack*/, std::size_t* /*size*/) {}
void ForgetFrames(std::byte* /*stack*/) {}
#endif

/// Stacks of fibers that have ended, for the next; a run takes a fraction of the time then.
std::vector<std::unique_ptr<std::byte[]>>& FreeStacks() {
  static std::vector<std::unique_ptr<std::byte[]>> stacks;
  return stacks;
}

/// Stacks of fibers that never end. Never destroyed: what they point to would count as leaked.
std::vector<std::unique_ptr<std::byte[]>>& LostStacks() {
  static auto& stacks = *new std::vector<std::unique_ptr<std::byte[]>>;
  return stacks;
}

}  // namespace

Fiber::Fiber(std::function<void()> body) : body_(std::move(body)) {
  if (FreeStacks().empty()) {
    stack_.reset(new std::byte[kStackSize]);
  } else {
    stack_ = std::move(FreeStacks().back());
    FreeStacks().pop_back();
  }
  getcontext(&context_);
  context_.uc_stack.ss_sp = stack_.get();
  context_.uc_stack.ss_size = kStackSize;
  makecontext(&context_, &Fiber::Main, 0);
}

Fiber::~Fiber() {
  if (ended_) {
    ForgetFrames(stack_.get());
    FreeStacks().push_back(std::move(stack_));
  } else {
    LostStacks().push_back(std::move(stack_));
  }
}

void Fiber::Main() {
  EndSwitch(nullptr, &running->caller_stack_, &running->caller_size_);
  running->body_();
  running->ended_ = true;
  Suspend();
}

void Fiber::Resume() {
  running = this;
  void* frames = nullptr;
  BeginSwitch(&frames, stack_.get(), kStackSize);
  swapcontext(&caller_, &context_);
  EndSwitch(frames, nullptr, nullptr);
  running = nullptr;
}

void Fiber::Suspend() {
  Fiber& self = *running;
  void* frames = nullptr;
  BeginSwitch(self.ended_ ? nullptr : &frames, self.caller_stack_, self.caller_size_);
  swapcontext(&self.context_, &self.caller_);
  EndSwitch(frames, &self.caller_stack_, &self.caller_size_);
}

}  // namespace zor::schedules
