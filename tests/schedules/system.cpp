#include "tests/schedules/system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/debug_output.h"
#include "platform/heap.h"
#include "platform/shared.h"

namespace zor::platform {

/// A work item; what its thread needs of it outlives the join.
struct Thread {
  struct State {
    int number = -1;  ///< the thread's, while the routine runs
    bool begun = false;
    bool called_off = false;
    bool returned = false;
    bool exited = false;
  };
  std::shared_ptr<State> state = std::make_shared<State>();
};

}  // namespace zor::platform

namespace zor::schedules {
namespace {

using platform::OpenResult;
using platform::PipeHandle;
using platform::ReadResult;

constexpr std::uint32_t kErrorFileNotFound = 2;
constexpr std::uint32_t kErrorInvalidHandle = 6;
constexpr std::uint32_t kErrorBrokenPipe = 109;
constexpr int kHandleStep = 4;

System* the_system = nullptr;

int NumberOf(PipeHandle handle) { return static_cast<int>(handle); }

}  // namespace

System& TheSystem() { return *the_system; }

System::System(Scheduler& scheduler) : scheduler_(scheduler) { the_system = this; }

System::~System() { the_system = nullptr; }

System::Pipe& System::PipeOf(std::wstring_view name) {
  const auto found = pipes_.find(name);
  return found == pipes_.end() ? pipes_[std::wstring(name)] : found->second;
}

void System::Listen(std::wstring_view name, Responder responder) {
  scheduler_.Point("listens");
  PipeOf(name).listening = true;
  PipeOf(name).responder = std::move(responder);
}

void System::Remove(std::wstring_view name) {
  scheduler_.Point("removes the pipe");
  PipeOf(name).listening = false;
}

void System::EndConnections(std::wstring_view name, ServerEnd end) {
  Pipe& pipe = PipeOf(name);
  pipe.requests.clear();
  for (const auto& connection : std::exchange(pipe.connections, {})) {
    connection->server_end = end;
    if (end == ServerEnd::kBroken) connection->waiting.clear();
  }
}

void System::Close(std::wstring_view name) {
  scheduler_.Point("closes the connections");
  EndConnections(name, ServerEnd::kClosed);
}

void System::Break(std::wstring_view name) {
  scheduler_.Point("breaks the connections");
  EndConnections(name, ServerEnd::kBroken);
}

void System::Send(std::wstring_view name, const Bytes& message) {
  scheduler_.Point("sends");
  for (const auto& connection : PipeOf(name).connections) connection->waiting.push_back(message);
}

void System::WaitForClient(std::wstring_view name) {
  scheduler_.WaitUntil([this, name] { return HasClient(name); }, "waits for a client");
}

bool System::Answer(std::wstring_view name, const Responder& responder,
                    std::function<bool()> done) {
  Pipe& pipe = PipeOf(name);
  scheduler_.WaitUntil([&pipe, &done] { return !pipe.requests.empty() || done(); },
                       "waits for a request");
  if (pipe.requests.empty()) return false;
  scheduler_.Point("answers");
  const Request request = std::move(pipe.requests.front());
  pipe.requests.pop_front();
  request.connection->waiting.push_back(responder(request.message));
  return true;
}

int System::open_count() const {
  return static_cast<int>(std::count_if(handles_.begin(), handles_.end(), [](const Handle& handle) {
    return !handle.closed && handle.answered;
  }));
}

int System::abandoned_count() const {
  return static_cast<int>(std::count_if(handles_.begin(), handles_.end(), [](const Handle& handle) {
    return !handle.closed && !handle.answered;
  }));
}

OpenResult System::Open(std::wstring_view name) {
  scheduler_.Point("OpenPipe");
  Pipe& pipe = PipeOf(name);
  if (!pipe.listening) return {.error = kErrorFileNotFound};
  auto connection = std::make_shared<Connection>();
  connection->pipe = name;
  pipe.connections.push_back(connection);
  handles_.push_back({.connection = std::move(connection)});
  return {.handle = static_cast<PipeHandle>(kHandleStep * handles_.size())};
}

/// Begins an operation: null when the handle is not the product's. An operation has the handle to
/// itself.
System::Handle* System::Use(PipeHandle handle, const char* step) {
  scheduler_.Point(step, NumberOf(handle));
  const auto index = static_cast<std::size_t>(NumberOf(handle) / kHandleStep - 1);
  if (index >= handles_.size()) {
    if (allowed_.empty()) ADD_FAILURE() << step << ": there is no handle";
    return nullptr;
  }
  Handle& found = handles_[index];
  const Connection& connection = *found.connection;
  if (!found.closed) {
    scheduler_.WaitUntil([&connection] { return !connection.busy; },
                         "waits for the read on its handle");
  }
  if (!found.closed) return &found;
  ++uses_after_close_;
  if (connection.pipe != allowed_) ADD_FAILURE() << step << ": the handle is used after its close";
  return nullptr;
}

void System::SetMessageReadMode(PipeHandle handle) {
  static_cast<void>(Use(handle, "SetMessageReadMode"));
}

bool System::Peek(PipeHandle handle) {
  Handle* const used = Use(handle, "PeekPipe");
  if (used == nullptr) return false;
  const Connection& connection = *used->connection;
  used->answered = connection.server_end == ServerEnd::kOpen || !connection.waiting.empty();
  return used->answered;
}

bool System::Peek(PipeHandle handle, std::uint32_t& available) {
  Handle* const used = Use(handle, "PeekPipe for bytes");
  if (used == nullptr) return false;
  const Connection& connection = *used->connection;
  if (connection.server_end != ServerEnd::kOpen && connection.waiting.empty()) return false;
  std::size_t sum = 0;
  for (const Bytes& message : connection.waiting) sum += message.size();
  available = static_cast<std::uint32_t>(sum);
  return true;
}

bool System::Write(PipeHandle handle, std::span<const std::uint8_t> message) {
  Handle* const used = Use(handle, "WritePipe");
  if (used == nullptr) return false;
  const std::shared_ptr<Connection> connection = used->connection;
  if (connection->server_end != ServerEnd::kOpen) return false;
  Pipe& pipe = PipeOf(connection->pipe);
  const Bytes request(message.begin(), message.end());
  if (pipe.responder) {
    connection->waiting.push_back(pipe.responder(request));
  } else {
    pipe.requests.push_back({connection, request});
  }
  return true;
}

ReadResult System::Read(PipeHandle handle, std::span<std::uint8_t> buffer) {
  Handle* const used = Use(handle, "ReadPipe");
  if (used == nullptr) return {.error = kErrorInvalidHandle};
  const std::shared_ptr<Connection> connection = used->connection;
  connection->busy = true;
  scheduler_.WaitUntil(
      [&] { return !connection->waiting.empty() || connection->server_end != ServerEnd::kOpen; },
      "waits in a read");
  connection->busy = false;
  if (connection->waiting.empty()) return {.error = kErrorBrokenPipe};

  Bytes& message = connection->waiting.front();
  const auto count = std::min(message.size(), buffer.size());
  std::copy_n(message.begin(), count, buffer.begin());
  message.erase(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(count));
  ++PipeOf(connection->pipe).read;
  if (!message.empty()) {
    return {false, static_cast<std::uint32_t>(count), platform::kErrorMoreData};
  }
  connection->waiting.pop_front();
  return {.ok = true, .count = static_cast<std::uint32_t>(count)};
}

void System::Disconnect(PipeHandle handle) { static_cast<void>(Use(handle, "DisconnectPipe")); }

void System::Close(PipeHandle handle) {
  Handle* const used = Use(handle, "ClosePipe");
  if (used == nullptr) return;
  used->closed = true;
  auto& connections = PipeOf(used->connection->pipe).connections;
  connections.erase(std::remove(connections.begin(), connections.end(), used->connection),
                    connections.end());
}

platform::Thread* System::StartThread(void (*routine)(void*), void* argument) {
  scheduler_.Point("StartThread");
  auto thread = std::make_unique<platform::Thread>();
  scheduler_.Start("listener", [this, routine, argument, state = thread->state] {
    // A thread that begins or ends tells every library so, under the loader's lock.
    { const LoaderLock lock; }
    scheduler_.Point("begins");
    if (!state->called_off) {
      state->begun = true;
      state->number = scheduler_.current();
      routine(argument);
      state->number = -1;
      state->returned = true;
    }
    { const LoaderLock lock; }
    state->exited = true;
  });
  return thread.release();
}

void System::JoinThread(platform::Thread* thread) {
  scheduler_.Point("JoinThread");
  const std::unique_ptr<platform::Thread> owned(thread);
  platform::Thread::State& state = *owned->state;
  if (plain_threads_) {
    scheduler_.WaitUntil([&state] { return state.exited; }, "waits for the thread's exit");
  } else if (state.begun) {
    scheduler_.WaitUntil([&state] { return state.returned; }, "waits for the work item");
  } else {
    state.called_off = true;
  }
}

void System::LockLoader() {
  scheduler_.Point("locks the loader");
  const int self = scheduler_.current();
  scheduler_.WaitUntil([this, self] { return loader_owner_ == -1 || loader_owner_ == self; },
                       "waits for the loader's lock");
  loader_owner_ = self;
  ++loader_depth_;
}

void System::UnlockLoader() {
  if (--loader_depth_ == 0) loader_owner_ = -1;
}

void System::AccessShared(const void* variable, const char* step) {
  scheduler_.Point(step);
  if (shared_.count(variable) != 0) return;
  ADD_FAILURE() << step << ": a shared variable is used after its end";
  scheduler_.WaitUntil([] { return false; }, "must not touch memory that is freed");
}

void BeginShared(const void* variable) { TheSystem().BeginShared(variable); }
void EndShared(const void* variable) { TheSystem().EndShared(variable); }
void AccessShared(const void* variable, const char* step) {
  TheSystem().AccessShared(variable, step);
}

}  // namespace zor::schedules

namespace zor::platform {

using schedules::TheSystem;

OpenResult OpenPipe(const wchar_t* name) noexcept { return TheSystem().Open(name); }
void SetMessageReadMode(PipeHandle pipe) noexcept { TheSystem().SetMessageReadMode(pipe); }
bool PeekPipe(PipeHandle pipe) noexcept { return TheSystem().Peek(pipe); }
bool PeekPipe(PipeHandle pipe, std::uint32_t& available) noexcept {
  return TheSystem().Peek(pipe, available);
}
bool WritePipe(PipeHandle pipe, std::span<const std::uint8_t> message) noexcept {
  return TheSystem().Write(pipe, message);
}
ReadResult ReadPipe(PipeHandle pipe, std::span<std::uint8_t> buffer) noexcept {
  return TheSystem().Read(pipe, buffer);
}
void DisconnectPipe(PipeHandle pipe) noexcept { TheSystem().Disconnect(pipe); }
void ClosePipe(PipeHandle pipe) noexcept { TheSystem().Close(pipe); }

Thread* StartThread(void (*routine)(void*), void* argument) noexcept {
  return TheSystem().StartThread(routine, argument);
}
bool IsCurrentThread(const Thread* thread) noexcept {
  return thread->state->number == TheSystem().scheduler().current();
}
bool JoinThread(Thread* thread) noexcept {
  TheSystem().JoinThread(thread);
  return true;
}
void Sleep(std::uint32_t /*milliseconds*/) noexcept { TheSystem().scheduler().Sleep(); }

void* HeapAllocate(std::size_t size) noexcept { return std::malloc(size); }
void HeapFree(void* block) noexcept { std::free(block); }

int FormattedLength(const char* format, std::va_list arguments) noexcept {
  return std::vsnprintf(nullptr, 0, format, arguments);
}
int FormattedLength(const wchar_t* /*format*/, std::va_list /*arguments*/) noexcept { return 0; }
void Format(char* buffer, std::size_t size, const char* format, std::va_list arguments) noexcept {
  static_cast<void>(std::vsnprintf(buffer, size, format, arguments));
}
void Format(wchar_t* /*buffer*/, std::size_t /*size*/, const wchar_t* /*format*/,
            std::va_list /*arguments*/) noexcept {}
void DebugOutput(const char* /*text*/) noexcept { TheSystem().scheduler().Point("DebugOutput"); }
void DebugOutput(const wchar_t* /*text*/) noexcept {}

}  // namespace zor::platform
