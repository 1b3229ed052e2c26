#include "simulator/win32/process_control.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <system_error>
#include <utility>

#include "tools/windows/handle.h"

namespace zor::sim {
namespace {

// Of this session: the number of the process that runs, and the event that stops it.
constexpr const wchar_t* kStopName = L"Local\\ZorSim.Stop";
constexpr const wchar_t* kProcessName = L"Local\\ZorSim.Process";

// The system grants a closing console about this long.
constexpr DWORD kConsolePatience = 5000;

/// A word of memory that processes share by name.
class SharedWord {
 public:
  SharedWord() = default;
  explicit SharedWord(windows::OwnedHandle mapping) : mapping_(std::move(mapping)) {
    if (mapping_) view_ = MapViewOfFile(mapping_.get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LONG));
  }
  SharedWord(const SharedWord&) = delete;
  SharedWord& operator=(const SharedWord&) = delete;
  SharedWord& operator=(SharedWord&& other) noexcept {
    std::swap(mapping_, other.mapping_);
    std::swap(view_, other.view_);
    return *this;
  }
  ~SharedWord() {
    if (view_ != nullptr) UnmapViewOfFile(view_);
  }

  [[nodiscard]] LONG* get() const { return static_cast<LONG*>(view_); }

 private:
  windows::OwnedHandle mapping_;
  void* view_ = nullptr;
};

// The console's handler takes no argument of ours.
std::atomic<HANDLE> console_stop = nullptr;
std::atomic<HANDLE> console_finished = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event) {
  const HANDLE stop = console_stop;
  if (stop == nullptr) return FALSE;
  const HANDLE finished = console_finished;
  SetEvent(stop);
  // For all but these two the process ends when this returns.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    WaitForSingleObject(finished, kConsolePatience);
  }
  return TRUE;
}

}  // namespace

struct StopSignal::State {
  windows::Event stop;
  windows::Event finished;
  windows::OwnedHandle announced_stop = {};
  SharedWord announced_process = {};
};

StopSignal::StopSignal() : state_(std::make_unique<State>()) {
  console_finished = state_->finished.get();
  console_stop = state_->stop.get();
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

StopSignal::~StopSignal() {
  SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
  console_stop = nullptr;
  state_->finished.Set();
}

void StopSignal::Announce() {
  state_->announced_process = SharedWord(windows::OwnedHandle(CreateFileMappingW(
      INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LONG), kProcessName)));
  state_->announced_stop = windows::OwnedHandle(CreateEventW(nullptr, TRUE, FALSE, kStopName));
  if (!state_->announced_stop || state_->announced_process.get() == nullptr) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "announcing the server");
  }
  // They may be left over from a server that is just ending.
  ResetEvent(state_->announced_stop.get());
  InterlockedExchange(state_->announced_process.get(), static_cast<LONG>(GetCurrentProcessId()));
}

void StopSignal::Set() { SetEvent(state_->stop.get()); }

void StopSignal::Wait() {
  const std::array<HANDLE, 2> handles = {state_->stop.get(), state_->announced_stop.get()};
  const DWORD count = state_->announced_stop ? 2 : 1;
  WaitForMultipleObjects(count, handles.data(), FALSE, INFINITE);
}

StopOutcome StopRunningServer(std::chrono::milliseconds patience) {
  const windows::OwnedHandle stop(OpenEventW(EVENT_MODIFY_STATE, FALSE, kStopName));
  if (!stop) {
    return GetLastError() == ERROR_ACCESS_DENIED ? StopOutcome::kFailed : StopOutcome::kNoneRunning;
  }
  const SharedWord process_id(
      windows::OwnedHandle(OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, kProcessName)));
  if (process_id.get() == nullptr) return StopOutcome::kNoneRunning;
  const auto id = static_cast<DWORD>(InterlockedCompareExchange(process_id.get(), 0, 0));
  const windows::OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
  if (!process) return StopOutcome::kFailed;
  SetEvent(stop.get());
  const DWORD woken = WaitForSingleObject(process.get(), static_cast<DWORD>(patience.count()));
  return woken == WAIT_OBJECT_0 ? StopOutcome::kStopped : StopOutcome::kStillRunning;
}

bool SetNamedEvent(const std::string& name) {
  static windows::OwnedHandle event;
  event = windows::OwnedHandle(CreateEventA(nullptr, TRUE, FALSE, name.c_str()));
  return event && SetEvent(event.get()) != FALSE;
}

}  // namespace zor::sim
