#include "tools/selftest/usage.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tools/selftest/handle.h"
#include "tools/selftest/text.h"

namespace zor::selftest {
namespace {

int CountThreads() {
  const UniqueHandle snapshot =
      Require(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0), "CreateToolhelp32Snapshot");
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  int count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &thread); more != FALSE;
       more = Thread32Next(snapshot.get(), &thread)) {
    if (thread.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  return count;
}

// By looking at each: the call that gives the number answers 0 on Wine. Handles are multiples of
// four, given out from the lowest free one.
int CountHandles() {
  constexpr std::uintptr_t kStep = 4;
  constexpr std::uintptr_t kWidestGap = 0x4000;
  int count = 0;
  std::uintptr_t last = 0;
  for (std::uintptr_t value = kStep; value < last + kWidestGap; value += kStep) {
    DWORD flags = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) == FALSE) continue;
    last = value;
    ++count;
  }
  return count;
}

}  // namespace

Usage Usage::Now() { return {CountThreads(), CountHandles()}; }

std::string GrowthSince(const Usage& before) {
  constexpr DWORD kPollMs = 20;
  constexpr DWORD kSettlingMs = 5'000;
  Usage now = Usage::Now();
  for (DWORD waited = 0; !now.IsWithin(before) && waited < kSettlingMs; waited += kPollMs) {
    Sleep(kPollMs);
    now = Usage::Now();
  }
  return Text(std::max(now.handles - before.handles, 0), " handles and ",
              std::max(now.threads - before.threads, 0), " threads more");
}

int FreeTlsSlots() {
  std::vector<DWORD> taken;
  for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc()) {
    taken.push_back(slot);
  }
  for (const DWORD slot : taken) TlsFree(slot);
  return static_cast<int>(taken.size());
}

int FreeFlsSlots() {
  std::vector<DWORD> taken;
  for (DWORD slot = FlsAlloc(nullptr); slot != FLS_OUT_OF_INDEXES; slot = FlsAlloc(nullptr)) {
    taken.push_back(slot);
  }
  for (const DWORD slot : taken) FlsFree(slot);
  return static_cast<int>(taken.size());
}

}  // namespace zor::selftest
