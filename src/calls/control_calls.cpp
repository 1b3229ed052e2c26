#include "calls/control_calls.h"

#include "transport/remote_call.h"

namespace zor {

ZorResult InstanceCall(PipeChannel& request, const char* func_name, std::uint32_t handle) {
  RemoteCall call(request, func_name);
  if (!call.Connect()) return call.result();
  call.Exchange({.func_name = func_name, .handle = handle});
  return call.result();
}

ZorResult ParamCall(PipeChannel& request, const char* func_name, std::uint32_t handle,
                    ZorFloatParam& param) {
  RemoteCall call(request, func_name);
  if (!call.Connect()) return call.result();
  const auto value = messages::CreateFloatParamDirect(call.builder(), param.name, param.value);
  const auto* reply =
      call.Exchange({.func_name = func_name, .float_param = value, .handle = handle});
  // Not only for a get: a server that echoes a set updates the caller's record.
  if (reply != nullptr && reply->float_param() != nullptr) {
    param.value = reply->float_param()->value();
  }
  return call.result();
}

}  // namespace zor
