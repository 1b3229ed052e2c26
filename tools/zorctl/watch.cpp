#include "tools/zorctl/commands.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "tools/zorctl/console.h"
#include "tools/zorctl/event_queue.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/pipe_check.h"

namespace zor::ctl {
namespace {

using Clock = std::chrono::steady_clock;

/// What is left of the time that the caller gave, for a wait.
class Deadline {
 public:
  explicit Deadline(std::uint32_t timeout_ms)
      : endless_(timeout_ms == 0), end_(Clock::now() + std::chrono::milliseconds(timeout_ms)) {}

  [[nodiscard]] DWORD Left() const {
    if (endless_) return INFINITE;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
    return static_cast<DWORD>(std::max<std::int64_t>(left.count(), 0));
  }

 private:
  bool endless_;
  Clock::time_point end_;
};

void SayWhatToExpect() {
  switch (CheckPipe(kNotifyPipe).state) {
    case PipeState::kAbsent:
      Say("watch: the server is not there yet; waiting for it, Ctrl-C ends");
      return;
    case PipeState::kBusy:
      Say("watch: all instances of the notification pipe are busy; waiting for one, Ctrl-C ends");
      return;
    default:
      Say("watch: showing the server's notifications; Ctrl-C ends");
  }
}

}  // namespace

ExitStatus Watch(const WatchCommand& command, bool json) {
  const HANDLE stop = StopSignal();
  SayWhatToExpect();
  const Deadline deadline(command.timeout_ms);
  const Library library;
  EventQueue queue;

  const std::array<HANDLE, 2> handles{queue.arrived(), stop};
  for (std::uint32_t seen = 0;;) {
    while (const auto event = queue.Take()) {
      Print(json ? ToLine(ToJson(*event)) : ToText(*event));
      if (++seen == command.count) return kDone;
    }
    const DWORD signalled = WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                   handles.data(), FALSE, deadline.Left());
    if (signalled == WAIT_FAILED) ThrowLastError("waiting for notifications");
    if (signalled == WAIT_OBJECT_0 + 1) return kDone;
    if (signalled == WAIT_TIMEOUT) return command.count == 0 ? kDone : kTimedOut;
  }
}

}  // namespace zor::ctl
