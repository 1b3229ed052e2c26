// The fourteen exports. Each forwards to its routine; what errors a routine lets through end here.
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "calls/control_calls.h"
#include "calls/instance_calls.h"
#include "calls/serialized_calls.h"
#include "discovery/enumeration.h"
#include "interface/library.h"
#include "interface/zor_interface.h"

namespace {

using zor::AlgorithmIdEntry;
using zor::TheLibrary;

zor::PipeChannel& Request() { return *TheLibrary().client.request; }

/// The parameter whose value is an algorithm id. Spelt so by the server: do not correct it.
bool IsAlgorithmId(const ZorFloatParam& param) {
  return std::strcmp(param.name, "supproted_algo_name") == 0;
}

}  // namespace

ZorResult ZorIntfConfig(std::uint32_t handle, const ZorTextParam* param) {
  return zor::Config(Request(), handle, *param);
}

ZorResult ZorIntfCreate(std::uint32_t* handle, const ZorTextParam* param) {
  return zor::Create(Request(), *handle, *param);
}

ZorResult ZorIntfDestroy(std::uint32_t handle) {
  return zor::InstanceCall(Request(), "ZorIntfDestroy", handle);
}

ZorResult ZorIntfEnum(std::uint32_t selector, ZorNameList* list) {
  // The only call that can meet one of the standard errors: a version that is no number, a
  // directory that cannot be listed. The list is then empty. That there is no memory is let
  // through.
  try {
    return zor::Enumerate(Request(), selector, *list, TheLibrary().discovery_rules,
                          TheLibrary().algorithm_ids);
  } catch (const std::logic_error&) {
    return ZOR_TRANSPORT_FAILURE;
  } catch (const std::runtime_error&) {
    return ZOR_TRANSPORT_FAILURE;
  }
}

ZorResult ZorIntfFreeSerialized(std::uint32_t /*handle*/, ZorBlob* blob) {
  zor::FreeSerialized(*blob);
  return ZOR_SUCCESS;
}

ZorResult ZorIntfGet(std::uint32_t handle, ZorFloatParam* param) {
  // The name that was asked for decides, whatever the record holds after the call.
  const bool is_algorithm_id = IsAlgorithmId(*param);
  const ZorResult result = zor::ParamCall(Request(), "ZorIntfGet", handle, *param);
  if (result != ZOR_SUCCESS || !is_algorithm_id) return result;

  const AlgorithmIdEntry* row = FindByServerId(TheLibrary().algorithm_ids, param->value);
  if (row == nullptr) return ZOR_UNKNOWN_ALGORITHM;
  param->value = static_cast<float>(row->app_id);
  return ZOR_SUCCESS;
}

ZorResult ZorIntfGetInfo(ZorServerInfo* info) { return zor::GetInfo(Request(), *info); }

ZorResult ZorIntfGetSerialized(std::uint32_t handle, const ZorBlob* input, ZorBlob* output) {
  return zor::GetSerialized(Request(), handle, *input, *output);
}

ZorResult ZorIntfGetStatus(std::uint32_t handle, std::uint32_t* status) {
  return zor::GetStatus(Request(), handle, *status);
}

ZorResult ZorIntfRegEventCallback(ZorEventCallback callback) {
  TheLibrary().client.event_callback = callback;
  return ZOR_SUCCESS;
}

ZorResult ZorIntfSet(std::uint32_t handle, ZorFloatParam* param) {
  if (IsAlgorithmId(*param)) {
    const AlgorithmIdEntry* row = FindByAppId(TheLibrary().algorithm_ids, param->value);
    if (row == nullptr) return ZOR_UNKNOWN_ALGORITHM;
    param->value = static_cast<float>(row->server_id);
  }
  return zor::ParamCall(Request(), "ZorIntfSet", handle, *param);
}

ZorResult ZorIntfSetSerialized(std::uint32_t handle, const ZorBlob* blob) {
  return zor::SetSerialized(Request(), handle, *blob);
}

ZorResult ZorIntfStart(std::uint32_t handle) {
  return zor::InstanceCall(Request(), "ZorIntfStart", handle);
}

ZorResult ZorIntfStop(std::uint32_t handle) {
  return zor::InstanceCall(Request(), "ZorIntfStop", handle);
}
