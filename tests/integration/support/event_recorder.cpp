#include "tests/integration/support/event_recorder.h"

#include <windows.h>

#include <atomic>
#include <chrono>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

std::atomic<EventRecorder*> current{nullptr};

}  // namespace

EventRecorder::EventRecorder() { current = this; }

EventRecorder::~EventRecorder() { current = nullptr; }

void EventRecorder::OnEvent(ZorEvent* event) {
  SeenEvent seen;
  seen.type = event->type;
  seen.flag = event->data.event0.flag;
  seen.value = event->data.event1.value;
  seen.text_pointer = event->data.event5.text;
  if (event->type == 4) seen.text = event->data.event4.text;
  if (event->type == 5) seen.text = event->data.event5.text;
  seen.thread = GetCurrentThreadId();

  EventRecorder& self = *current;
  {
    const std::lock_guard lock(self.mutex_);
    self.seen_.push_back(seen);
  }
  self.arrived_.notify_all();
  if (self.then) self.then(seen);
}

std::vector<SeenEvent> EventRecorder::WaitFor(std::size_t count) {
  std::unique_lock lock(mutex_);
  arrived_.wait_for(lock, std::chrono::milliseconds(kPatienceMs),
                    [&] { return seen_.size() >= count; });
  return seen_;
}

std::vector<SeenEvent> EventRecorder::Seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

}  // namespace zor::testing
