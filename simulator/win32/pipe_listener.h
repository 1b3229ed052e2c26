/// Waiting for the clients of one pipe.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "simulator/win32/pipe_io.h"
#include "simulator/win32/pipe_security.h"
#include "tools/windows/handle.h"

namespace zor::sim {

/// One instance of a pipe.
using PipeInstance = std::shared_ptr<windows::OwnedHandle>;

struct PipeListenerCallbacks {
  /// A new instance listens.
  std::function<void(const PipeInstance&)> on_listening = {};
  /// An instance has got a client.
  std::function<void(const PipeInstance&)> on_client = {};
  /// An instance that listened goes without having got a client.
  std::function<void(const PipeInstance&)> on_unused = {};
};

/// Keeps several instances listening, so that a client finds one even while others connect: a
/// client that finds none does not wait.
class PipeListener {
 public:
  /// `instances` is how many listen at a time, below 64.
  PipeListener(std::wstring name, std::size_t instances, PipeListenerCallbacks callbacks);
  ~PipeListener();
  PipeListener(const PipeListener&) = delete;
  PipeListener& operator=(const PipeListener&) = delete;

  /// Creates the pipe, which must not exist yet, and begins to wait. 0 or the system's error.
  [[nodiscard]] DWORD Open();

  /// Stops waiting and closes the instances that have no client. The callbacks are over when it
  /// returns.
  void Close();

 private:
  struct Slot {
    PipeInstance pipe = {};
    std::unique_ptr<PipeOperation> connect = {};
  };

  [[nodiscard]] DWORD Listen(Slot& slot, bool first);
  void Release(Slot& slot);
  void Run();

  const std::wstring name_;
  const PipeListenerCallbacks callbacks_;
  PipeSecurity security_;
  windows::Event stop_;
  std::vector<Slot> slots_;
  std::thread thread_;
};

}  // namespace zor::sim
