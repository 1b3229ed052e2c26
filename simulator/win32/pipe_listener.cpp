#include "simulator/win32/pipe_listener.h"

#include <utility>

namespace zor::sim {
namespace {

constexpr DWORD kBufferBytes = 64 * 1024;
// After an instance could not be made.
constexpr DWORD kRetryMilliseconds = 50;

// The first-instance flag below is what guards the name. But it only works where the system knows
// it: Wine 8 ignores it.
bool Exists(const std::wstring& name) {
  return WaitNamedPipeW(name.c_str(), 1) != FALSE || GetLastError() != ERROR_FILE_NOT_FOUND;
}

}  // namespace

PipeListener::PipeListener(std::wstring name, std::size_t instances,
                           PipeListenerCallbacks callbacks)
    : name_(std::move(name)), callbacks_(std::move(callbacks)), slots_(instances) {}

PipeListener::~PipeListener() { Close(); }

DWORD PipeListener::Open() {
  if (Exists(name_)) return ERROR_ALREADY_EXISTS;
  bool first = true;
  for (Slot& slot : slots_) {
    if (const DWORD error = Listen(slot, first)) {
      for (Slot& made : slots_) Release(made);
      return error;
    }
    first = false;
  }
  stop_.Reset();
  thread_ = std::thread(&PipeListener::Run, this);
  return 0;
}

void PipeListener::Close() {
  if (!thread_.joinable()) return;
  stop_.Set();
  thread_.join();
  for (Slot& slot : slots_) Release(slot);
}

DWORD PipeListener::Listen(Slot& slot, bool first) {
  SECURITY_ATTRIBUTES* const security = security_.attributes();
  if (security == nullptr) return ERROR_INVALID_SECURITY_DESCR;
  const DWORD only_first = first ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0;
  windows::OwnedHandle pipe = windows::Own(CreateNamedPipeW(
      name_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | only_first,
      PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
      PIPE_UNLIMITED_INSTANCES, kBufferBytes, kBufferBytes, 0, security));
  if (!pipe) return GetLastError();
  slot.pipe = std::make_shared<windows::OwnedHandle>(std::move(pipe));
  slot.connect = std::make_unique<PipeOperation>(slot.pipe->get());
  callbacks_.on_listening(slot.pipe);
  slot.connect->Connect();
  return 0;
}

void PipeListener::Release(Slot& slot) {
  slot.connect.reset();
  if (slot.pipe == nullptr) return;
  callbacks_.on_unused(slot.pipe);
  // A client may have come just now.
  DisconnectNamedPipe(slot.pipe->get());
  slot.pipe.reset();
}

void PipeListener::Run() {
  for (;;) {
    std::vector<HANDLE> handles = {stop_.get()};
    std::vector<Slot*> waiting;
    for (Slot& slot : slots_) {
      if (slot.pipe == nullptr && Listen(slot, false) != 0) continue;
      handles.push_back(slot.connect->event());
      waiting.push_back(&slot);
    }
    const DWORD woken =
        WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                               waiting.size() == slots_.size() ? INFINITE : kRetryMilliseconds);
    if (woken == WAIT_OBJECT_0) return;
    if (woken == WAIT_TIMEOUT) continue;

    Slot& slot = *waiting[woken - WAIT_OBJECT_0 - 1];
    if (slot.connect->Finish().status != IoStatus::kDone) {
      // The client has gone already.
      Release(slot);
      continue;
    }
    const PipeInstance pipe = std::exchange(slot.pipe, nullptr);
    slot.connect.reset();
    // The successor first: there is always one that listens.
    static_cast<void>(Listen(slot, false));
    callbacks_.on_client(pipe);
  }
}

}  // namespace zor::sim
