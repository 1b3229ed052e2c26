#include "tools/zorctl/commands.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "tools/zorctl/console.h"
#include "tools/zorctl/event_queue.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/own_log.h"
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

/// Whether a server is expected to be there.
bool SayWhatToExpect() {
  switch (CheckPipe(kNotifyPipe).state) {
    case PipeState::kAbsent:
      Say("watch: the server is not there yet; waiting for it, Ctrl-C ends");
      return false;
    case PipeState::kBusy:
      Say("watch: all instances of the notification pipe are busy; waiting for one, Ctrl-C ends");
      return false;
    default:
      Say("watch: showing the server's notifications; Ctrl-C ends");
      return true;
  }
}

windows::OwnedHandle MakeEvent() {
  windows::OwnedHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (event == nullptr) windows::ThrowLastError("making an event");
  return event;
}

/// Says when the server goes and comes: as the library's own thread sees it, by its debug lines.
class ServerWatch {
 public:
  explicit ServerWatch(bool is_there) : said_(is_there) {}

  [[nodiscard]] HANDLE changed() const noexcept { return changed_.get(); }

  void SayChanges() {
    std::deque<bool> changes;
    {
      const std::lock_guard lock(mutex_);
      changes.swap(changes_);
    }
    for (const bool is_there : changes) {
      if (is_there == said_) continue;
      Say(is_there ? "watch: the server is there; what it sent before is lost"
                   : "watch: the server is gone; waiting for it");
      said_ = is_there;
    }
  }

 private:
  /// Comes a thousand times a second while there is no server.
  void Take(const std::string& line) {
    const bool connected = line == "[zor] Connection was successful.";
    if (!connected && line != "[zor] Connection was fail.") return;
    if (last_ == connected) return;
    last_ = connected;
    {
      const std::lock_guard lock(mutex_);
      changes_.push_back(connected);
    }
    SetEvent(changed_.get());
  }

  bool said_;
  std::optional<bool> last_;  ///< of the library's thread alone
  std::mutex mutex_;
  std::deque<bool> changes_;
  windows::OwnedHandle changed_ = MakeEvent();
  OwnLog log_{[this](const std::string& line) { Take(line); }};  ///< last: it uses the others
};

}  // namespace

ExitStatus Watch(const WatchCommand& command, bool json) {
  const HANDLE stop = StopSignal();
  ServerWatch server(SayWhatToExpect());
  const Deadline deadline(command.timeout_ms);
  const Library library;
  EventQueue queue;

  const std::array<HANDLE, 3> handles{queue.arrived(), stop, server.changed()};
  for (std::uint32_t seen = 0;;) {
    server.SayChanges();
    while (const auto event = queue.Take()) {
      Print(json ? ToLine(ToJson(*event)) : ToText(*event));
      if (++seen == command.count) return kDone;
    }
    const DWORD signalled = WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                   handles.data(), FALSE, deadline.Left());
    if (signalled == WAIT_FAILED) windows::ThrowLastError("waiting for notifications");
    if (signalled == WAIT_OBJECT_0 + 1) return kDone;
    if (signalled == WAIT_TIMEOUT) return command.count == 0 ? kDone : kTimedOut;
  }
}

}  // namespace zor::ctl
