/// The kit's own server on the library's pipes.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/selftest/background.h"
#include "tools/selftest/handle.h"

namespace zor::selftest {

using Bytes = std::vector<std::uint8_t>;

/// An instance of a pipe, at the server's end. Every wait ends with Stop().
class ServerEnd {
 public:
  ServerEnd(const wchar_t* name, DWORD instances);

  [[nodiscard]] bool WaitForClient();
  /// Nothing when the client is gone.
  [[nodiscard]] std::optional<Bytes> Read();
  /// False when the client is gone.
  bool Write(std::span<const std::uint8_t> message);
  void Disconnect() noexcept { DisconnectNamedPipe(pipe_.get()); }

  /// For another thread.
  void Stop() const noexcept { stopped_.Set(); }
  [[nodiscard]] bool IsStopped() const noexcept { return stopped_.IsSetWithin(0); }
  /// Waits that long, or until Stop().
  void Pause(DWORD milliseconds) const noexcept {
    static_cast<void>(stopped_.IsSetWithin(milliseconds));
  }

 private:
  /// Waits for the operation that was started: its bytes, or nothing.
  [[nodiscard]] std::optional<DWORD> Finish(bool started, DWORD error);

  UniqueHandle pipe_;
  Event done_;
  Event stopped_;
  OVERLAPPED operation_{};
};

/// Serves one client after the other on each of its instances, until it is destroyed.
class Server {
 public:
  using Session = std::function<void(ServerEnd&)>;

  Server(const wchar_t* name, Session session, int instances = 1);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  [[nodiscard]] int connections() const noexcept { return connections_; }
  /// Throws when they do not come.
  void AwaitConnections(int count) const;

 private:
  Session session_;
  std::atomic<int> connections_{0};
  std::vector<std::unique_ptr<ServerEnd>> ends_;
  std::vector<std::unique_ptr<Background>> threads_;
};

/// Sends nothing, and waits until the client is gone.
void StayIdle(ServerEnd& end);
/// Answers every request with AnyReply().
void AnswerAll(ServerEnd& end);
/// Sends notifications until the client is gone.
void Flood(ServerEnd& end);

// --- messages

/// A success that holds something for every call: the four words 1, 2, 3, 4, a list of three names,
/// the status 5 and a block of 600 bytes.
[[nodiscard]] Bytes AnyReply();
/// A notification of type 1.
[[nodiscard]] Bytes Notification(std::uint32_t value);

}  // namespace zor::selftest
