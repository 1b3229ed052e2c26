/// The same exchange as a local remote procedure call of the system's own kind, where the toolchain
/// can generate its stubs: for comparison.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace zor::bench {

/// Begins to answer, on threads of the system's. Does nothing where there are no stubs.
void StartRpcServer();

/// A client of that server.
class RpcClient {
 public:
  RpcClient();
  RpcClient(const RpcClient&) = delete;
  RpcClient& operator=(const RpcClient&) = delete;
  ~RpcClient();

  /// Whether there are stubs at all.
  [[nodiscard]] static bool Exists() noexcept;

  void Exchange(std::span<const std::uint8_t> request);

 private:
  struct Binding;
  std::unique_ptr<Binding> binding_;
};

}  // namespace zor::bench
