/// The server's instances: what each call does to them, and which notifications it raises.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/notification.h"
#include "simulator/results.h"
#include "simulator/scenario.h"

namespace zor::sim {

/// An instance's state, and the status byte that is reported for it.
enum class State : std::uint8_t { kCreated = 1, kConfigured = 2, kStarted = 3, kStopped = 4 };

[[nodiscard]] const char* StateName(State state);

/// All instances of the server. Handles count up from the scenario's first and are not used again.
/// Not safe for use by several threads at once.
class InstanceModel {
 public:
  /// With the scenario's own instances. `scenario` must outlive the model.
  explicit InstanceModel(const Scenario& scenario);

  [[nodiscard]] Result Create(std::string_view algorithm, std::uint32_t& handle);
  [[nodiscard]] Result Configure(std::uint32_t handle);
  [[nodiscard]] Result Start(std::uint32_t handle);
  [[nodiscard]] Result Stop(std::uint32_t handle);
  [[nodiscard]] Result Destroy(std::uint32_t handle);
  [[nodiscard]] Result GetState(std::uint32_t handle, State& state) const;

  [[nodiscard]] Result SetParameter(std::uint32_t handle, std::string_view name, float value);
  [[nodiscard]] Result GetParameter(std::uint32_t handle, std::string_view name,
                                    float& value) const;

  [[nodiscard]] Result StoreBlob(std::uint32_t handle, std::string_view name,
                                 std::span<const std::uint8_t> data);
  /// `data` stays valid until the model changes.
  [[nodiscard]] Result FindBlob(std::uint32_t handle, std::string_view name,
                                std::span<const std::uint8_t>& data) const;

  /// The notifications raised since the last call of this, in order.
  [[nodiscard]] std::vector<Notification> TakeRaised();

  [[nodiscard]] std::size_t size() const { return instances_.size(); }

 private:
  struct Instance {
    State state = State::kCreated;
    std::size_t algorithm = 0;
    std::vector<float> parameters = {};  ///< in the scenario's order
    std::map<std::string, Bytes, std::less<>> blobs = {};
  };

  [[nodiscard]] Instance NewInstance(std::size_t algorithm) const;
  /// Of those that no instance has.
  [[nodiscard]] std::uint32_t TakeHandle();
  [[nodiscard]] Instance* Find(std::uint32_t handle);
  [[nodiscard]] const Instance* Find(std::uint32_t handle) const;
  void Enter(std::uint32_t handle, Instance& instance, State state);
  [[nodiscard]] Result SetAlgorithm(Instance& instance, float value);
  void RaiseParameterSet(std::string_view name, float value);

  const Scenario& scenario_;
  std::map<std::uint32_t, Instance> instances_;
  std::uint32_t next_handle_;
  std::uint32_t running_ = 0;
  std::vector<Notification> raised_;
};

}  // namespace zor::sim
