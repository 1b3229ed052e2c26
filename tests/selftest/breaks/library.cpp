#include <windows.h>

#include <array>
#include <atomic>
#include <cstring>
#include <string_view>

#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

// --- what the kit calls

HMODULE WINAPI LoadFails(const wchar_t* path, HANDLE file, DWORD flags) {
  static const auto real = Real<decltype(LoadLibraryExW)>("LoadLibraryExW");
  if ((flags & LOAD_LIBRARY_AS_DATAFILE) != 0) return real(path, file, flags);
  SetLastError(ERROR_ACCESS_DENIED);
  return nullptr;
}

BOOL WINAPI KeepLibrary(HMODULE /*module*/) { return TRUE; }

BOOL WINAPI FreeAndTakeSlots(HMODULE module) {
  static const auto real = Real<decltype(FreeLibrary)>("FreeLibrary");
  TlsAlloc();
  FlsAlloc(nullptr);
  return real(module);
}

void WINAPI EndWithAnotherCode(UINT code) { TerminateProcess(GetCurrentProcess(), code + 1); }

void WINAPI DoNotSleep(DWORD /*milliseconds*/) {}

// --- what the library calls

HANDLE WINAPI OpenIsDenied(const wchar_t* /*name*/, DWORD /*access*/, DWORD /*share*/,
                           SECURITY_ATTRIBUTES* /*security*/, DWORD /*how*/, DWORD /*flags*/,
                           HANDLE /*like*/) {
  SetLastError(ERROR_ACCESS_DENIED);
  return INVALID_HANDLE_VALUE;
}

BOOL WINAPI ReadFails(HANDLE /*pipe*/, void* /*buffer*/, DWORD /*size*/, DWORD* /*count*/,
                      OVERLAPPED* /*overlapped*/) {
  SetLastError(ERROR_BROKEN_PIPE);
  return FALSE;
}

/// Each message that is read is lost but for every third.
BOOL WINAPI ReadLosesMessages(HANDLE pipe, void* buffer, DWORD size, DWORD* count,
                              OVERLAPPED* overlapped) {
  static const auto real = Real<decltype(ReadFile)>("ReadFile");
  static std::atomic<int> number{0};
  const BOOL ok = real(pipe, buffer, size, count, overlapped);
  if (ok != FALSE && ++number % 3 != 0) std::memset(buffer, 0, *count);
  return ok;
}

BOOL WINAPI PeekSucceeds(HANDLE /*pipe*/, void* /*buffer*/, DWORD /*size*/, DWORD* /*read*/,
                         DWORD* /*total*/, DWORD* /*left*/) {
  return TRUE;
}

BOOL WINAPI CloseAndTakeAnother(HANDLE handle) {
  static const auto real = Real<decltype(CloseHandle)>("CloseHandle");
  static_cast<void>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  return real(handle);
}

void WINAPI LeaveOutALine(const char* text) {
  static const auto real = Real<decltype(OutputDebugStringA)>("OutputDebugStringA");
  if (!std::string_view(text).starts_with("[zor] Connection was fail")) real(text);
}

void WINAPI DoNotWait(PTP_WORK /*work*/, BOOL /*call_off*/) {}

BOOL WINAPI KeepPriority(HANDLE /*thread*/, int /*priority*/) { return TRUE; }

// A heap of the library's own.
HANDLE OwnHeap() {
  static const HANDLE heap = HeapCreate(0, 0, 0);
  return heap;
}
void* OwnMalloc(std::size_t size) { return HeapAlloc(OwnHeap(), 0, size); }
void* OwnCalloc(std::size_t count, std::size_t size) {
  return HeapAlloc(OwnHeap(), HEAP_ZERO_MEMORY, count * size);
}
void OwnFree(void* block) {
  if (block != nullptr) HeapFree(OwnHeap(), 0, block);
}

constexpr Caller kLibrary = Caller::kLibrary;

const std::array kBreaks = {
    Make("library.loads", "LoadLibraryExW", LoadFails),
    Make("library.no-server", "CreateFileW", OpenIsDenied, kLibrary),
    Make("library.listener-lines", "OutputDebugStringA", LeaveOutALine, kLibrary),
    Make("library.calls", "ReadFile", ReadFails, kLibrary),
    Make("library.block", "malloc", OwnMalloc, kLibrary),
    Make("library.block", "calloc", OwnCalloc, kLibrary),
    Make("library.block", "free", OwnFree, kLibrary),
    Make("library.enumerates", "ReadFile", ReadFails, kLibrary),
    Make("library.no-time-out", "ReadFile", ReadFails, kLibrary),
    Make("library.reconnects", "PeekNamedPipe", PeekSucceeds, kLibrary),
    Make("library.notifications", "ReadFile", ReadLosesMessages, kLibrary),
    Make("library.unload-after-load", "FreeLibrary", KeepLibrary),
    Make("library.unload-idle", "CloseHandle", CloseAndTakeAnother, kLibrary),
    Make("library.unload-in-flood", "CloseHandle", CloseAndTakeAnother, kLibrary),
    Make("library.unload-in-callback", "WaitForThreadpoolWorkCallbacks", DoNotWait, kLibrary),
    Make("library.slots", "FreeLibrary", FreeAndTakeSlots),
    Make("library.thread-given-back", "SetThreadPriority", KeepPriority, kLibrary),
    Make("library.exits", "ExitProcess", EndWithAnotherCode),
    Make("latency.calls", "ReadFile", ReadFails, kLibrary),
    Make("latency.loads", "FreeLibrary", KeepLibrary),
    Make("latency.notifications", "ReadFile", ReadLosesMessages, kLibrary),
    Make("latency.pause", "Sleep", DoNotSleep),
};

}  // namespace

std::span<const Break> LibraryBreaks() { return kBreaks; }

}  // namespace zor::selftest::broken
