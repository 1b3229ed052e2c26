#include "calls/instance_calls.h"

#include "transport/remote_call.h"

namespace zor {

ZorResult GetInfo(PipeChannel& request, ZorServerInfo& info) {
  RemoteCall call(request, "RpcClient::ZorIntfGetInfo");
  if (!call.Connect()) return call.result();
  if (const auto* reply = call.Exchange({.func_name = "ZorIntfGetInfo"})) {
    // A server always sends the words; for one that does not, they are zero.
    const auto* words = reply->server_info();
    info = words == nullptr
               ? ZorServerInfo{}
               : ZorServerInfo{words->info0(), words->info1(), words->info2(), words->info3()};
  }
  return call.result();
}

ZorResult Create(PipeChannel& request, std::uint32_t& handle, const ZorTextParam& param) {
  RemoteCall call(request, "RpcClient::ZorIntfCreate");
  if (!call.Connect()) return call.result();
  const auto text = messages::CreateTextParamDirect(call.builder(), param.name, param.value);
  if (const auto* reply = call.Exchange({.func_name = "ZorIntfCreate", .text_param = text})) {
    handle = reply->handle();
  }
  return call.result();
}

ZorResult Config(PipeChannel& request, std::uint32_t handle, const ZorTextParam& param) {
  RemoteCall call(request, "RpcClient::ZorIntfConfig");
  if (!call.Connect()) return call.result();
  const auto text = messages::CreateTextParamDirect(call.builder(), param.name, param.value);
  call.Exchange({.func_name = "ZorIntfConfig", .text_param = text, .handle = handle});
  return call.result();
}

ZorResult GetStatus(PipeChannel& request, std::uint32_t handle, std::uint32_t& status) {
  RemoteCall call(request, "RpcClient::ZorIntfGetStatus");
  if (!call.Connect()) return call.result();
  if (const auto* reply = call.Exchange({.func_name = "ZorIntfGetStatus", .handle = handle})) {
    status = reply->status();
  }
  return call.result();
}

}  // namespace zor
