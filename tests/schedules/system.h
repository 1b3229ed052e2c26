/// A small Windows for one run of a few threads: the platform that the product is built on here.
///
/// It keeps the rules that a schedule can break: who holds the loader's lock; one operation at a
/// time on a handle, so that a peek or a close waits for a read that waits; the number of a handle
/// that is closed is somebody else's at once; a work item that has not begun is called off.
/// A test fails when a handle is used or closed after its close, or a shared variable is used after
/// its end.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pipe.h"
#include "platform/thread.h"
#include "tests/schedules/scheduler.h"

namespace zor::schedules {

using Bytes = std::vector<std::uint8_t>;

class System {
 public:
  using Responder = std::function<Bytes(const Bytes& request)>;

  /// One exists at a time.
  explicit System(Scheduler& scheduler);
  System(const System&) = delete;
  System& operator=(const System&) = delete;
  ~System();

  [[nodiscard]] Scheduler& scheduler() { return scheduler_; }

  /// The library's thread is a plain one: who joins it waits for its exit.
  void UsePlainThreads() { plain_threads_ = true; }

  /// Does not fail for uses of this pipe's closed handles, or of none.
  void AllowUseAfterClose(std::wstring_view name) { allowed_ = name; }
  [[nodiscard]] int uses_after_close() const { return uses_after_close_; }

  // The server. Each is a step of the thread that calls it.

  /// Takes clients. Without a responder the requests are kept for Answer().
  void Listen(std::wstring_view name, Responder responder = {});
  /// Takes no more clients.
  void Remove(std::wstring_view name);
  /// Closes the server's ends: what was sent can still be read.
  void Close(std::wstring_view name);
  /// Breaks the connections: what was sent and not read is lost.
  void Break(std::wstring_view name);
  void Send(std::wstring_view name, const Bytes& message);
  [[nodiscard]] bool HasClient(std::wstring_view name) { return !PipeOf(name).connections.empty(); }
  void WaitForClient(std::wstring_view name);
  /// Waits for a request and answers it; false when no more come since `done` holds.
  bool Answer(std::wstring_view name, const Responder& responder, std::function<bool()> done);

  // What has come of it.

  /// Messages that the product has taken out of this pipe, the first parts of longer ones too.
  [[nodiscard]] int read_count(std::wstring_view name) { return PipeOf(name).read; }

  /// Handles that are open and answered when they were asked last, or that no reconnect gave up.
  [[nodiscard]] int open_count() const;
  /// Handles that are open and did not answer when they were asked last: given up by a reconnect.
  [[nodiscard]] int abandoned_count() const;
  [[nodiscard]] std::size_t shared_count() const { return shared_.size(); }

  // The platform's functions, and the shared variables.

  [[nodiscard]] platform::OpenResult Open(std::wstring_view name);
  void SetMessageReadMode(platform::PipeHandle handle);
  [[nodiscard]] bool Peek(platform::PipeHandle handle);
  [[nodiscard]] bool Peek(platform::PipeHandle handle, std::uint32_t& available);
  [[nodiscard]] bool Write(platform::PipeHandle handle, std::span<const std::uint8_t> message);
  [[nodiscard]] platform::ReadResult Read(platform::PipeHandle handle,
                                          std::span<std::uint8_t> buffer);
  void Disconnect(platform::PipeHandle handle);
  void Close(platform::PipeHandle handle);

  [[nodiscard]] platform::Thread* StartThread(void (*routine)(void*), void* argument);
  void JoinThread(platform::Thread* thread);

  void LockLoader();
  void UnlockLoader();

  void BeginShared(const void* variable) { shared_.insert(variable); }
  void EndShared(const void* variable) { shared_.erase(variable); }
  void AccessShared(const void* variable, const char* step);

 private:
  enum class ServerEnd : std::uint8_t { kOpen, kClosed, kBroken };

  struct Connection {
    std::wstring pipe;
    ServerEnd server_end = ServerEnd::kOpen;
    std::deque<Bytes> waiting;
    bool busy = false;  ///< with a read that waits
  };

  struct Handle {
    std::shared_ptr<Connection> connection;
    bool closed = false;
    bool answered = true;  ///< the last time it was asked
  };

  struct Request {
    std::shared_ptr<Connection> connection;
    Bytes message;
  };

  struct Pipe {
    bool listening = false;
    Responder responder;
    std::vector<std::shared_ptr<Connection>> connections;  ///< whose server's end is open
    std::deque<Request> requests;
    int read = 0;
  };

  [[nodiscard]] Pipe& PipeOf(std::wstring_view name);
  void EndConnections(std::wstring_view name, ServerEnd end);
  [[nodiscard]] Handle* Use(platform::PipeHandle handle, const char* step);

  Scheduler& scheduler_;
  bool plain_threads_ = false;
  std::wstring allowed_;
  int uses_after_close_ = 0;
  std::map<std::wstring, Pipe, std::less<>> pipes_;
  std::deque<Handle> handles_;  ///< their numbers are 4, 8, 12...
  int loader_owner_ = -1;
  int loader_depth_ = 0;
  std::set<const void*> shared_;
};

/// The one of the run.
[[nodiscard]] System& TheSystem();

/// Has the loader's lock while it exists.
class LoaderLock {
 public:
  LoaderLock() { TheSystem().LockLoader(); }
  LoaderLock(const LoaderLock&) = delete;
  LoaderLock& operator=(const LoaderLock&) = delete;
  ~LoaderLock() { TheSystem().UnlockLoader(); }
};

}  // namespace zor::schedules
