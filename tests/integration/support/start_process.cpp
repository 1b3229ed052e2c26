#include "tests/integration/support/start_process.h"

namespace zor::testing {
namespace {

constexpr int kStarts = 5;

}  // namespace

UniqueHandle StartProcess(std::wstring command, STARTUPINFOW startup, bool inherits,
                          std::FILE* told) {
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  for (int starts = 1;
       CreateProcessW(nullptr, command.data(), nullptr, nullptr, inherits ? TRUE : FALSE, 0,
                      nullptr, nullptr, &startup, &started) == FALSE;
       ++starts) {
    if (GetLastError() != ERROR_INTERNAL_ERROR || starts == kStarts) {
      ThrowLastError("CreateProcess");
    }
    std::fprintf(told, "start: again, since nothing of it has run: %ls\n", command.c_str());
    std::fflush(told);
  }
  CloseHandle(started.hThread);
  return UniqueHandle(started.hProcess);
}

}  // namespace zor::testing
