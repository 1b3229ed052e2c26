#include "tests/kit/events.h"

#include <atomic>
#include <sstream>
#include <stdexcept>

#include "tests/kit/patience.h"
#include "tests/kit/system.h"

namespace zor::testing {
namespace {

std::atomic<EventRecorder*> current{nullptr};

}  // namespace

EventCopy EventCopy::Of(const ZorEvent& event) {
  EventCopy read{.type = event.type};
  switch (event.type) {
    case 0:
      read.flag = event.data.event0.flag;
      break;
    case 1:
      read.value = event.data.event1.value;
      break;
    case 2:
      read.flag = event.data.event2.flag;
      break;
    case 3:
      read.value = event.data.event3.value;
      break;
    case 4:
      read.flag = event.data.event4.flag;
      read.text = event.data.event4.text;
      break;
    case 5:
      read.value = event.data.event5.value;
      read.text = event.data.event5.text;
      break;
    default:
      break;
  }
  return read;
}

std::ostream& operator<<(std::ostream& stream, const EventCopy& event) {
  return stream << "type " << event.type << ", flag " << event.flag << ", value " << event.value
                << ", text \"" << event.text << '"';
}

EventRecorder::EventRecorder() { current = this; }

EventRecorder::~EventRecorder() { current = nullptr; }

void EventRecorder::OnEvent(ZorEvent* event) {
  const SeenEvent seen{EventCopy::Of(*event), *event, event, CurrentThread()};
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
  const auto arrived = [this] { return seen_.size(); };
  if (WaitWhileGrowing(arrived_, lock, arrived, count)) return seen_;
  std::ostringstream problem;
  problem << "waited for " << count << " events; " << seen_.size() << " have arrived";
  if (!seen_.empty())
    problem << ", the last of them " << static_cast<const EventCopy&>(seen_.back());
  problem << ", and no more for " << kPatience.count() << " ms";
  throw std::runtime_error(problem.str());
}

std::vector<SeenEvent> EventRecorder::Seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

}  // namespace zor::testing
