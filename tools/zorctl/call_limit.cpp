#include "tools/zorctl/call_limit.h"

#include <fmt/core.h>

#include <atomic>
#include <thread>

#include "tools/windows/handle.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/explain.h"

namespace zor::ctl {
namespace {

// A call that is between two operations of the system is tried again after this time.
constexpr DWORD kAgainMs = 20;
constexpr int kTries = 250;

windows::OwnedHandle ThisThread() {
  HANDLE thread = nullptr;
  if (DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0,
                      FALSE, DUPLICATE_SAME_ACCESS) == FALSE) {
    windows::ThrowLastError("taking the thread's handle");
  }
  return windows::OwnedHandle(thread);
}

windows::OwnedHandle MakeEvent() {
  windows::OwnedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (event == nullptr) windows::ThrowLastError("making an event");
  return event;
}

/// Cancels what the thread that made it waits for, when the time is up while it exists.
class Limit {
 public:
  Limit(std::string_view command, std::uint32_t timeout_ms)
      : command_(command), watcher_([this, timeout_ms] { Watch(timeout_ms); }) {}
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit() { Done(); }

  /// Ends the watch: nothing is cancelled from here on.
  void Done() {
    SetEvent(done_.get());
    if (watcher_.joinable()) watcher_.join();
  }

  [[nodiscard]] bool has_expired() const noexcept { return expired_; }

 private:
  void Watch(DWORD timeout_ms) {
    if (WaitForSingleObject(done_.get(), timeout_ms) == WAIT_OBJECT_0) return;
    expired_ = true;
    for (int i = 0; i < kTries; ++i) {
      CancelSynchronousIo(thread_.get());
      if (WaitForSingleObject(done_.get(), kAgainMs) == WAIT_OBJECT_0) return;
    }
    Say(
        fmt::format("{}: the call did not end in time and cannot be cancelled: it waits for "
                    "something else than the server",
                    command_));
    TerminateProcess(GetCurrentProcess(), kCallTimedOut);
  }

  std::string_view command_;
  windows::OwnedHandle thread_ = ThisThread();
  windows::OwnedHandle done_ = MakeEvent();
  std::atomic<bool> expired_ = false;
  std::thread watcher_;  ///< last: it uses the others
};

}  // namespace

Outcome MakeWithin(Session& session, const Call& call, std::uint32_t timeout_ms) {
  if (timeout_ms == 0) return session.Make(call);
  Limit limit(CommandName(call), timeout_ms);
  Outcome outcome = session.Make(call);
  limit.Done();
  outcome.timed_out = limit.has_expired() && outcome.result != ZOR_SUCCESS;
  return outcome;
}

}  // namespace zor::ctl
