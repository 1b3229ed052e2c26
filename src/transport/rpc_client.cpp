#include "transport/rpc_client.h"

namespace zor {

RpcClient::RpcClient(void (*listener_routine)(RpcClient&))
    : request(std::make_unique<PipeChannel>(kRequestPipe)),
      notify(std::make_unique<PipeChannel>(kNotifyPipe)),
      listener_routine_(listener_routine) {
  listener = std::make_unique<ListenerThread>(RunListener, this);
}

void RpcClient::Shutdown() {
  stopping = true;
  if (request != nullptr) request->Shut();
  if (notify != nullptr) notify->Shut();
  if (listener != nullptr) {
    listener->Join();
    listener.reset();
  }
  // Closes again: the pass that was under way may have held the handle or opened a new one.
  request.reset();
  notify.reset();
}

void RpcClient::RunListener(void* client) {
  auto& self = *static_cast<RpcClient*>(client);
  self.listener_routine_(self);
}

}  // namespace zor
