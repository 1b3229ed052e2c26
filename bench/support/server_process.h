/// The server of the benchmarks, as a process of its own.
#pragma once

#include <string>

#include "tests/integration/support/handle.h"

namespace zor::bench {

/// Runs bench_server.exe with `role` while it exists. The pipes are there when it has been made.
class ServerProcess {
 public:
  explicit ServerProcess(const std::wstring& role);
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess();

 private:
  testing::UniqueHandle process_;
};

/// The event that the server sets when it is ready.
inline constexpr const wchar_t* kServerIsReady = L"zor-bench-server-is-ready";

}  // namespace zor::bench
