#include "simulator/instance_model.h"

#include <algorithm>
#include <utility>

namespace zor::sim {
namespace {

constexpr std::uint8_t Type(NotificationType type) { return static_cast<std::uint8_t>(type); }

Notification Flag(NotificationType type, bool flag) { return {.type = Type(type), .flag = flag}; }

Notification Value(NotificationType type, std::uint32_t value) {
  return {.type = Type(type), .value = value};
}

}  // namespace

const char* StateName(State state) {
  switch (state) {
    case State::kCreated:
      return "created";
    case State::kConfigured:
      return "configured";
    case State::kStarted:
      return "started";
    case State::kStopped:
      return "stopped";
  }
  return "unknown";
}

InstanceModel::InstanceModel(const Scenario& scenario)
    : scenario_(scenario), next_handle_(scenario.first_handle == 0 ? 1 : scenario.first_handle) {
  for (const ExistingInstance& existing : scenario.instances) {
    Instance& instance = instances_.emplace(existing.handle, NewInstance(0)).first->second;
    instance.state = static_cast<State>(existing.status);
    if (instance.state == State::kStarted) ++running_;
    for (std::size_t i = 0; i < scenario.parameters.size(); ++i) {
      const auto found = existing.parameters.find(scenario.parameters[i].name);
      if (found != existing.parameters.end()) instance.parameters[i] = found->second;
    }
  }
}

InstanceModel::Instance InstanceModel::NewInstance(std::size_t algorithm) const {
  Instance instance;
  instance.algorithm = algorithm;
  for (const Parameter& parameter : scenario_.parameters) {
    instance.parameters.push_back(parameter.initial);
  }
  for (const Blob& blob : scenario_.blobs) instance.blobs[blob.name] = blob.data;
  return instance;
}

std::uint32_t InstanceModel::TakeHandle() {
  while (instances_.contains(next_handle_)) ++next_handle_;
  return next_handle_++;
}

Result InstanceModel::Create(std::string_view algorithm, std::uint32_t& handle) {
  const auto& algorithms = scenario_.algorithms();
  const auto found = std::find(algorithms.begin(), algorithms.end(), algorithm);
  if (found == algorithms.end()) return Result::kUnknownAlgorithm;
  if (instances_.size() >= scenario_.limits.instances) return Result::kTooManyInstances;

  handle = TakeHandle();
  const auto id = static_cast<std::size_t>(found - algorithms.begin());
  Instance& added = instances_.emplace(handle, NewInstance(id)).first->second;
  raised_.push_back(Value(NotificationType::kCreated, handle));
  Enter(handle, added, State::kCreated);
  return Result::kSuccess;
}

Result InstanceModel::Configure(std::uint32_t handle) {
  Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (instance->state == State::kStarted) return Result::kWrongState;
  Enter(handle, *instance, State::kConfigured);
  return Result::kSuccess;
}

Result InstanceModel::Start(std::uint32_t handle) {
  Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (instance->state != State::kConfigured && instance->state != State::kStopped) {
    return Result::kWrongState;
  }
  Enter(handle, *instance, State::kStarted);
  if (++running_ == 1) raised_.push_back(Flag(NotificationType::kRunning, true));
  return Result::kSuccess;
}

Result InstanceModel::Stop(std::uint32_t handle) {
  Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (instance->state != State::kStarted) return Result::kWrongState;
  Enter(handle, *instance, State::kStopped);
  if (--running_ == 0) raised_.push_back(Flag(NotificationType::kRunning, false));
  return Result::kSuccess;
}

Result InstanceModel::Destroy(std::uint32_t handle) {
  const Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (instance->state == State::kStarted) return Result::kWrongState;
  instances_.erase(handle);
  raised_.push_back(Value(NotificationType::kDestroyed, handle));
  return Result::kSuccess;
}

Result InstanceModel::GetState(std::uint32_t handle, State& state) const {
  const Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  state = instance->state;
  return Result::kSuccess;
}

Result InstanceModel::SetParameter(std::uint32_t handle, std::string_view name, float value) {
  Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (name == kAlgorithmParameter) {
    const Result result = SetAlgorithm(*instance, value);
    if (result == Result::kSuccess) RaiseParameterSet(name, value);
    return result;
  }
  const auto& parameters = scenario_.parameters;
  const auto found = std::ranges::find(parameters, name, &Parameter::name);
  if (found == parameters.end()) return Result::kNoSuchParameter;
  if (found->read_only) return Result::kReadOnly;
  if (found->range && !(value >= found->range->min && value <= found->range->max)) {
    return Result::kValueOutOfRange;
  }
  instance->parameters[static_cast<std::size_t>(found - parameters.begin())] = value;
  RaiseParameterSet(name, value);
  return Result::kSuccess;
}

Result InstanceModel::GetParameter(std::uint32_t handle, std::string_view name,
                                   float& value) const {
  const Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (name == kAlgorithmParameter) {
    value = static_cast<float>(instance->algorithm);
    return Result::kSuccess;
  }
  const auto& parameters = scenario_.parameters;
  const auto found = std::ranges::find(parameters, name, &Parameter::name);
  if (found == parameters.end()) return Result::kNoSuchParameter;
  value = instance->parameters[static_cast<std::size_t>(found - parameters.begin())];
  return Result::kSuccess;
}

Result InstanceModel::StoreBlob(std::uint32_t handle, std::string_view name,
                                std::span<const std::uint8_t> data) {
  Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  if (data.size() > scenario_.limits.blob_bytes) return Result::kTooLarge;
  auto found = instance->blobs.find(name);
  if (found == instance->blobs.end()) {
    if (instance->blobs.size() >= scenario_.limits.blobs_per_instance) return Result::kTooManyBlobs;
    found = instance->blobs.emplace(name, Bytes()).first;
  }
  found->second.assign(data.begin(), data.end());
  raised_.push_back(Flag(NotificationType::kBlobStored, !data.empty()));
  return Result::kSuccess;
}

Result InstanceModel::FindBlob(std::uint32_t handle, std::string_view name,
                               std::span<const std::uint8_t>& data) const {
  const Instance* instance = Find(handle);
  if (instance == nullptr) return Result::kNoSuchInstance;
  const auto found = instance->blobs.find(name);
  if (found == instance->blobs.end()) return Result::kNoSuchBlob;
  data = found->second;
  return Result::kSuccess;
}

std::vector<Notification> InstanceModel::TakeRaised() { return std::exchange(raised_, {}); }

InstanceModel::Instance* InstanceModel::Find(std::uint32_t handle) {
  const auto found = instances_.find(handle);
  return found == instances_.end() ? nullptr : &found->second;
}

const InstanceModel::Instance* InstanceModel::Find(std::uint32_t handle) const {
  const auto found = instances_.find(handle);
  return found == instances_.end() ? nullptr : &found->second;
}

void InstanceModel::Enter(std::uint32_t handle, Instance& instance, State state) {
  instance.state = state;
  raised_.push_back(
      {.type = Type(NotificationType::kStateChanged), .value = handle, .text = StateName(state)});
}

Result InstanceModel::SetAlgorithm(Instance& instance, float value) {
  const auto count = scenario_.algorithms().size();
  for (std::size_t id = 0; id < count; ++id) {
    if (static_cast<float>(id) == value) {
      instance.algorithm = id;
      return Result::kSuccess;
    }
  }
  return Result::kUnknownAlgorithm;
}

void InstanceModel::RaiseParameterSet(std::string_view name, float value) {
  raised_.push_back({.type = Type(NotificationType::kParameterSet),
                     .flag = value != 0,
                     .text = std::string(name)});
}

}  // namespace zor::sim
