#include <windows.h>

#include <array>
#include <cstring>
#include <string_view>

#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

void WINAPI DoNotWait(PTP_WORK /*work*/, BOOL /*call_off*/) {}

LONG NTAPI TakeNoLock(ULONG /*flags*/, ULONG* /*state*/, ULONG_PTR* cookie) {
  *cookie = 1;
  return 0;
}

LONG NTAPI GiveNoLock(ULONG /*flags*/, ULONG_PTR /*cookie*/) { return 0; }

template <typename Function>
FARPROC ToFarProc(Function* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

/// A loader without a lock.
FARPROC WINAPI FindNoLock(HMODULE module, const char* name) {
  const std::string_view wanted = name;
  if (wanted == "LdrLockLoaderLock") return ToFarProc(TakeNoLock);
  if (wanted == "LdrUnlockLoaderLock") return ToFarProc(GiveNoLock);
  static const auto real = Real<decltype(GetProcAddress)>("GetProcAddress");
  return real(module, name);
}

BOOL WINAPI AlwaysAToken(HANDLE /*thread*/, DWORD /*access*/, BOOL /*as_self*/, HANDLE* token) {
  *token = nullptr;
  return TRUE;
}

BOOL WINAPI AnyPriority(HANDLE /*thread*/, int /*priority*/) { return TRUE; }

void WINAPI KeepPool(PTP_POOL /*pool*/) {}

const std::array kBreaks = {
    Make("threads.pool-under-lock", "WaitForThreadpoolWorkCallbacks", DoNotWait),
    Make("threads.pool-not-begun", "WaitForThreadpoolWorkCallbacks", DoNotWait),
    Make("threads.end-needs-lock", "GetProcAddress", FindNoLock),
    Make("threads.begin-needs-lock", "GetProcAddress", FindNoLock),
    Make("threads.pool-state", "OpenThreadToken", AlwaysAToken),
    Make("threads.background-mode", "SetThreadPriority", AnyPriority),
    Make("threads.pools-leave-nothing", "CloseThreadpool", KeepPool),
};

}  // namespace

std::span<const Break> ThreadBreaks() { return kBreaks; }

}  // namespace zor::selftest::broken
