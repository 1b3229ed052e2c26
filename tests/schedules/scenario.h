/// A run's threads, and its exploration under every schedule.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/schedules/system.h"
#include "transport/rpc_client.h"

namespace zor::schedules {

/// What is run again under each schedule, with an object of its own.
class Scenario {
 public:
  Scenario() = default;
  Scenario(const Scenario&) = delete;
  Scenario& operator=(const Scenario&) = delete;
  virtual ~Scenario() = default;

  /// Starts the threads.
  virtual void Begin(System& system) = 0;

  /// What must hold after all have ended, besides what holds for every run: no shared variable is
  /// left, and no handle that a reconnect has not given up.
  virtual void Check(System& system);
};

using MakeScenario = std::function<std::unique_ptr<Scenario>()>;

/// Runs the scenario under every schedule with at most two forced switches, three in the campaign
/// or as many as the environment's ZOR_SWITCHES says, until a run fails; a run that does not end
/// has failed. With the environment's ZOR_SCHEDULE runs the schedule of that name alone, and writes
/// its steps.
void Explore(const MakeScenario& make);

/// The first deadlock in the same order, as Scheduler::Describe() gives it; empty when there is
/// none.
[[nodiscard]] std::string FindDeadlock(const MakeScenario& make);

template <typename S, typename... Arguments>
[[nodiscard]] MakeScenario Make(const Arguments&... arguments) {
  return [arguments...] { return std::make_unique<S>(arguments...); };
}

/// The library's file, as the loader sees it: the first load makes the client, the last unload
/// destroys it.
class Dll {
 public:
  void Load();
  void Unload();
  [[nodiscard]] RpcClient& client() { return *client_; }

 private:
  int users_ = 0;
  std::unique_ptr<RpcClient> owner_;
  RpcClient* client_ = nullptr;  ///< while it is being destroyed, too
};

}  // namespace zor::schedules
