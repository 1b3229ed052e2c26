#include "bench/support/server_process.h"

#include <array>
#include <stdexcept>

#include "tests/integration/support/loaded_library.h"

namespace zor::bench {

ServerProcess::ServerProcess(const std::wstring& role) {
  const testing::UniqueHandle ready =
      testing::Require(CreateEventW(nullptr, TRUE, FALSE, kServerIsReady), "CreateEvent");
  ResetEvent(ready.get());
  // It ends with this process, even when this one is killed.
  std::wstring command = L"\"" + testing::BinaryFolder() + L"\\bench_server.exe\" " +
                         std::to_wstring(GetCurrentProcessId()) + L" " + role;
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                     &startup, &started) == FALSE) {
    testing::ThrowLastError("CreateProcess");
  }
  process_.reset(started.hProcess);
  CloseHandle(started.hThread);

  const std::array<HANDLE, 2> either = {ready.get(), process_.get()};
  if (WaitForMultipleObjects(2, either.data(), FALSE, testing::kPatienceMs) != WAIT_OBJECT_0) {
    TerminateProcess(process_.get(), 1);
    throw std::runtime_error("the server did not start");
  }
}

ServerProcess::~ServerProcess() {
  TerminateProcess(process_.get(), 0);
  WaitForSingleObject(process_.get(), testing::kPatienceMs);
}

}  // namespace zor::bench
