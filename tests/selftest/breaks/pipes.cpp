#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

// --- reading and writing

BOOL RealRead(HANDLE pipe, void* buffer, DWORD size, DWORD* count, OVERLAPPED* overlapped) {
  static const auto real = Real<decltype(ReadFile)>("ReadFile");
  return real(pipe, buffer, size, count, overlapped);
}

BOOL RealPeek(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total, DWORD* left) {
  static const auto real = Real<decltype(PeekNamedPipe)>("PeekNamedPipe");
  return real(pipe, buffer, size, read, total, left);
}

BOOL RealWrite(HANDLE pipe, const void* data, DWORD size, DWORD* count, OVERLAPPED* overlapped) {
  static const auto real = Real<decltype(WriteFile)>("WriteFile");
  return real(pipe, data, size, count, overlapped);
}

bool IsPipe(HANDLE handle) { return GetFileType(handle) == FILE_TYPE_PIPE; }

/// As long as there is room, one message after the other.
BOOL WINAPI ReadMany(HANDLE pipe, void* buffer, DWORD size, DWORD* count, OVERLAPPED* overlapped) {
  if (RealRead(pipe, buffer, size, count, overlapped) == FALSE) return FALSE;
  DWORD waiting = 0;
  while (RealPeek(pipe, nullptr, 0, nullptr, &waiting, nullptr) != FALSE && waiting != 0 &&
         *count < size) {
    DWORD more = 0;
    if (RealRead(pipe, static_cast<char*>(buffer) + *count, size - *count, &more, nullptr) ==
        FALSE) {
      break;
    }
    *count += more;
  }
  return TRUE;
}

BOOL WINAPI ReadAndDropTheRest(HANDLE pipe, void* buffer, DWORD size, DWORD* count,
                               OVERLAPPED* overlapped) {
  const BOOL ok = RealRead(pipe, buffer, size, count, overlapped);
  if (ok != FALSE || GetLastError() != ERROR_MORE_DATA) return ok;
  std::array<char, 4096> rest{};
  DWORD dropped = 0;
  RealRead(pipe, rest.data(), static_cast<DWORD>(rest.size()), &dropped, nullptr);
  SetLastError(ERROR_MORE_DATA);
  return FALSE;
}

BOOL WINAPI ReadNothing(HANDLE /*pipe*/, void* /*buffer*/, DWORD /*size*/, DWORD* /*count*/,
                        OVERLAPPED* /*overlapped*/) {
  SetLastError(ERROR_BROKEN_PIPE);
  return FALSE;
}

BOOL WINAPI WriteUnlessEmpty(HANDLE pipe, const void* data, DWORD size, DWORD* count,
                             OVERLAPPED* overlapped) {
  return size == 0 ? TRUE : RealWrite(pipe, data, size, count, overlapped);
}

BOOL WINAPI WriteEverySecond(HANDLE pipe, const void* data, DWORD size, DWORD* count,
                             OVERLAPPED* overlapped) {
  static std::atomic<int> number{0};
  return ++number % 2 == 0 ? TRUE : RealWrite(pipe, data, size, count, overlapped);
}

BOOL WINAPI PeekAtTheFirst(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total,
                           DWORD* left) {
  const BOOL ok = RealPeek(pipe, buffer, size, read, total, left);
  if (ok != FALSE && total != nullptr && left != nullptr) *total = *left;
  return ok;
}

BOOL WINAPI PeekClears(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total,
                       DWORD* left) {
  if (total != nullptr) *total = 0;
  return RealPeek(pipe, buffer, size, read, total, left);
}

BOOL WINAPI PeekSucceeds(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total,
                         DWORD* left) {
  RealPeek(pipe, buffer, size, read, total, left);
  return TRUE;
}

BOOL WINAPI PeekSaysBroken(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total,
                           DWORD* left) {
  const BOOL ok = RealPeek(pipe, buffer, size, read, total, left);
  if (ok == FALSE) SetLastError(ERROR_BROKEN_PIPE);
  return ok;
}

constexpr DWORD kLong = 4000;  // longer than a check takes for waiting

BOOL WINAPI PeekLate(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* total,
                     DWORD* left) {
  Sleep(kLong);
  return RealPeek(pipe, buffer, size, read, total, left);
}

BOOL WINAPI CloseLate(HANDLE handle) {
  static const auto real = Real<decltype(CloseHandle)>("CloseHandle");
  if (IsPipe(handle)) Sleep(kLong);
  return real(handle);
}

// --- opening and states

HANDLE RealOpen(const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                DWORD how, DWORD flags, HANDLE like) {
  static const auto real = Real<decltype(CreateFileW)>("CreateFileW");
  return real(name, access, share, security, how, flags, like);
}

template <DWORD error>
HANDLE WINAPI OpenFailsWith(const wchar_t* name, DWORD access, DWORD share,
                            SECURITY_ATTRIBUTES* security, DWORD how, DWORD flags, HANDLE like) {
  const HANDLE opened = RealOpen(name, access, share, security, how, flags, like);
  if (opened == INVALID_HANDLE_VALUE) SetLastError(error);
  return opened;
}

HANDLE WINAPI OpenIsRefused(const wchar_t* /*name*/, DWORD /*access*/, DWORD /*share*/,
                            SECURITY_ATTRIBUTES* /*security*/, DWORD /*how*/, DWORD /*flags*/,
                            HANDLE /*like*/) {
  SetLastError(ERROR_ACCESS_DENIED);
  return INVALID_HANDLE_VALUE;
}

HANDLE WINAPI OpenInheritable(const wchar_t* name, DWORD access, DWORD share,
                              SECURITY_ATTRIBUTES* security, DWORD how, DWORD flags, HANDLE like) {
  const HANDLE opened = RealOpen(name, access, share, security, how, flags, like);
  SetHandleInformation(opened, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  return opened;
}

BOOL WINAPI KeepMode(HANDLE /*pipe*/, DWORD* /*mode*/, DWORD* /*count*/, DWORD* /*time*/) {
  return TRUE;
}

BOOL WINAPI StayConnected(HANDLE /*pipe*/) { return TRUE; }

BOOL WINAPI ConnectAtOnce(HANDLE /*pipe*/, OVERLAPPED* /*overlapped*/) { return TRUE; }

BOOL WINAPI WaitFindsNone(const wchar_t* name, DWORD limit) {
  static const auto real = Real<decltype(WaitNamedPipeW)>("WaitNamedPipeW");
  const BOOL ok = real(name, limit);
  if (ok == FALSE) SetLastError(ERROR_FILE_NOT_FOUND);
  return ok;
}

BOOL WINAPI TokenOfALowLevel(HANDLE /*token*/, TOKEN_INFORMATION_CLASS /*what*/, void* information,
                             DWORD size, DWORD* needed) {
  constexpr SECURITY_IMPERSONATION_LEVEL kLevel = SecurityIdentification;
  if (size == sizeof(kLevel)) *static_cast<SECURITY_IMPERSONATION_LEVEL*>(information) = kLevel;
  *needed = sizeof(kLevel);
  return TRUE;
}

HANDLE WINAPI OpenHangs(const wchar_t* /*name*/, DWORD /*access*/, DWORD /*share*/,
                        SECURITY_ATTRIBUTES* /*security*/, DWORD /*how*/, DWORD /*flags*/,
                        HANDLE /*like*/) {
  Sleep(INFINITE);
  return INVALID_HANDLE_VALUE;
}

HANDLE WINAPI OpenCrashes(const wchar_t* /*name*/, DWORD /*access*/, DWORD /*share*/,
                          SECURITY_ATTRIBUTES* /*security*/, DWORD /*how*/, DWORD /*flags*/,
                          HANDLE /*like*/) {
  RaiseException(STATUS_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  return INVALID_HANDLE_VALUE;
}

const std::array kDeadEnds = {
    Make("hang", "CreateFileW", OpenHangs),
    Make("crash", "CreateFileW", OpenCrashes),
};

const std::array kBreaks = {
    Make("pipes.one-message", "ReadFile", ReadMany),
    Make("pipes.message-mode", "SetNamedPipeHandleState", KeepMode),
    Make("pipes.peek-sum", "PeekNamedPipe", PeekAtTheFirst),
    Make("pipes.peek-keeps", "PeekNamedPipe", PeekClears),
    Make("pipes.long-message", "ReadFile", ReadAndDropTheRest),
    Make("pipes.empty-message", "WriteFile", WriteUnlessEmpty),
    Make("pipes.empty-last", "WriteFile", WriteUnlessEmpty),
    Make("pipes.absent", "CreateFileW", OpenFailsWith<ERROR_PATH_NOT_FOUND>),
    Make("pipes.busy", "CreateFileW", OpenFailsWith<ERROR_SEM_TIMEOUT>),
    Make("pipes.not-listening", "DisconnectNamedPipe", StayConnected),
    Make("pipes.refused", "CreateFileW", OpenIsRefused),
    Make("pipes.right-to-serve", "CreateFileW", OpenIsRefused),
    Make("pipes.before-connect", "ConnectNamedPipe", ConnectAtOnce),
    Make("pipes.waiting-for", "WaitNamedPipeW", WaitFindsNone),
    Make("pipes.not-inherited", "CreateFileW", OpenInheritable),
    Make("pipes.impersonation", "GetTokenInformation", TokenOfALowLevel),
    Make("pipes.disconnected", "PeekNamedPipe", PeekSaysBroken),
    Make("pipes.closed", "PeekNamedPipe", PeekSucceeds),
    Make("pipes.closed-with-data", "ReadFile", ReadNothing),
    Make("pipes.killed", "ReadFile", ReadNothing),
    Make("pipes.client-disconnects", "DisconnectNamedPipe", StayConnected),
    Make("pipes.peek-waits", "PeekNamedPipe", PeekLate),
    Make("pipes.close-waits", "CloseHandle", CloseLate),
    Make("pipes.write-waits", "WriteFile", WriteEverySecond),
};

}  // namespace

std::span<const Break> PipeBreaks() { return kBreaks; }

std::span<const Break> DeadEnds() { return kDeadEnds; }

}  // namespace zor::selftest::broken
