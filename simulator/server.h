/// The simulated audio server on its two named pipes, inside this process. Windows only.
///
/// zorsim.exe is this class with a command line; a test can hold one directly:
///
///   zor::sim::Server server(zor::sim::DefaultScenario());
///   if (const auto error = server.Start()) FAIL() << *error;
///   ...
///   server.Raise({.type = 1, .value = 7});
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulator/notification.h"
#include "simulator/scenario.h"
#include "simulator/trace_record.h"

namespace zor::sim {

/// What a server has done since it was made.
struct ServerCounts {
  std::uint64_t clients = 0;  ///< connections of either pipe
  std::uint64_t requests = 0;
  std::uint64_t faults = 0;              ///< requests that met a fault of the scenario
  std::uint64_t notifications = 0;       ///< written, one for each client
  std::uint64_t lost_notifications = 0;  ///< the oldest ones of clients that did not read
};

/// Who is told what the server does. The functions are called on the server's threads, several at
/// once; they must not throw, block for long or call the server.
struct ServerObserver {
  std::function<void(const TraceRecord&)> on_trace = {};
  /// The server cannot go on, for the reason given; it still has to be stopped.
  std::function<void(const std::string&)> on_failure = {};
};

class Server {
 public:
  explicit Server(Scenario scenario, ServerObserver observer = {});
  ~Server();  ///< stops it
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Opens both pipes; clients can connect when it returns. What went wrong, or nothing. A server
  /// is started once; stopped ones are not started again, but others can be made.
  [[nodiscard]] std::optional<std::string> Start();

  /// Closes both pipes and drops every client. Returns when no thread and no handle is left.
  void Stop();

  /// Sends to every client of the notification pipe.
  void Raise(const Notification& notification);
  void SendRaw(Bytes message);

  /// Drops every client of both pipes, which stay open. Done soon after the return.
  void DropAllClients();

  /// Drops every client, closes both pipes and opens them again after `time`. Done soon after the
  /// return.
  void ClosePipesFor(std::chrono::milliseconds time);

  [[nodiscard]] ServerCounts Counts() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zor::sim
