#include "bench/context/rpc.h"

#include <windows.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bench/support/messages.h"
#include "exchange.h"

namespace {

/// The local transport's name, and its end point.
std::array<unsigned char, 8> protocol = {"ncalrpc"};
std::array<unsigned char, 17> end_point = {"zor_bench_server"};

void Check(RPC_STATUS status, const char* what) {
  if (status != RPC_S_OK) {
    throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
  }
}

}  // namespace

// What the stubs ask for, and the server's half of the call.
extern "C" {

void* __RPC_USER MIDL_user_allocate(std::size_t size) { return std::malloc(size); }

void __RPC_USER MIDL_user_free(void* block) { std::free(block); }

void zor_bench_server_BenchExchange(handle_t /*binding*/, ULONG /*request_size*/,
                                    const byte* /*request*/, ULONG limit, ULONG* reply_size,
                                    byte* reply) {
  static const zor::testing::Bytes canned = zor::bench::InfoReply();
  *reply_size = limit < canned.size() ? limit : static_cast<ULONG>(canned.size());
  std::memcpy(reply, canned.data(), *reply_size);
}
}

namespace zor::bench {

struct RpcClient::Binding {
  handle_t handle = nullptr;
};

void StartRpcServer() {
  Check(RpcServerUseProtseqEpA(protocol.data(), RPC_C_PROTSEQ_MAX_REQS_DEFAULT, end_point.data(),
                               nullptr),
        "RpcServerUseProtseqEp");
  Check(RpcServerRegisterIf(zor_bench_server_ZorBenchExchange_v1_0_s_ifspec, nullptr, nullptr),
        "RpcServerRegisterIf");
  Check(RpcServerListen(1, RPC_C_LISTEN_MAX_CALLS_DEFAULT, TRUE), "RpcServerListen");
}

RpcClient::RpcClient() : binding_(std::make_unique<Binding>()) {
  RPC_CSTR text = nullptr;
  Check(
      RpcStringBindingComposeA(nullptr, protocol.data(), nullptr, end_point.data(), nullptr, &text),
      "RpcStringBindingCompose");
  const RPC_STATUS bound = RpcBindingFromStringBindingA(text, &binding_->handle);
  RpcStringFreeA(&text);
  Check(bound, "RpcBindingFromStringBinding");
}

RpcClient::~RpcClient() { RpcBindingFree(&binding_->handle); }

bool RpcClient::Exists() noexcept { return true; }

void RpcClient::Exchange(std::span<const std::uint8_t> request) {
  std::array<byte, 1024> reply;
  ULONG size = 0;
  // A failed call raises a structured exception, which ends the process.
  zor_bench_client_BenchExchange(binding_->handle, static_cast<ULONG>(request.size()),
                                 request.data(), static_cast<ULONG>(reply.size()), &size,
                                 reply.data());
  if (size == 0) throw std::runtime_error("the remote procedure call brought nothing");
}

}  // namespace zor::bench
