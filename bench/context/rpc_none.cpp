// Where the toolchain has no widl: nothing to compare with.
#include "bench/context/rpc.h"

namespace zor::bench {

struct RpcClient::Binding {};

void StartRpcServer() {}

RpcClient::RpcClient() = default;
RpcClient::~RpcClient() = default;
bool RpcClient::Exists() noexcept { return false; }
void RpcClient::Exchange(std::span<const std::uint8_t> /*request*/) {}

}  // namespace zor::bench
