#include <windows.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

BOOL WINAPI SetNoDirectory(const wchar_t* /*folder*/) { return TRUE; }

BOOL WINAPI RefuseTheDirectory(const wchar_t* /*folder*/) {
  SetLastError(ERROR_INVALID_PARAMETER);
  return FALSE;
}

BOOL WINAPI SetNoMode(DWORD /*mode*/, DWORD* /*before*/) { return TRUE; }

HMODULE WINAPI LoadSaysMissing(const wchar_t* /*path*/) {
  SetLastError(ERROR_FILE_NOT_FOUND);
  return nullptr;
}

BOOL WINAPI FreeAnything(HMODULE /*module*/) { return TRUE; }

DWORD WINAPI NoVariable(const wchar_t* /*name*/, wchar_t* /*value*/, DWORD /*size*/) { return 0; }

void WINAPI SayNothing(const wchar_t* /*text*/) {}

void WINAPI SayTheLastOnly(const char* text) {
  static const auto real = Real<decltype(OutputDebugStringA)>("OutputDebugStringA");
  if (std::strcmp(text, "end") == 0) real(text);
}

/// Not kept in a static variable, whose lock the runtime would allocate first.
void* RealMalloc(std::size_t size) { return Real<decltype(std::malloc)>("malloc")(size); }

void* AllocateNothingForNothing(std::size_t size) { return size == 0 ? nullptr : RealMalloc(size); }

void* AllocateAndFill(std::size_t count, std::size_t size) {
  void* block = RealMalloc(count * size);
  if (block != nullptr) std::memset(block, 0, count * size);
  return block;
}

unsigned long ReadAsciiOnly(const wchar_t* text, wchar_t** /*end*/, int /*base*/) {
  unsigned long number = 0;
  for (; *text >= L'0' && *text <= L'9'; ++text) {
    number = number * 10 + static_cast<unsigned long>(*text - L'0');
  }
  return number;
}

int WINAPI WidenAsLatin1(UINT /*page*/, DWORD /*flags*/, const char* text, int /*length*/,
                         wchar_t* wide, int /*size*/) {
  int count = 0;
  do {
    wide[count] = static_cast<unsigned char>(text[count]);
  } while (text[count++] != '\0');
  return count;
}

const std::array kBreaks = {
    Make("runtime.dll-directory", "SetDllDirectoryW", SetNoDirectory),
    Make("runtime.dll-directory-semicolon", "SetDllDirectoryW", RefuseTheDirectory),
    Make("runtime.error-mode", "SetThreadErrorMode", SetNoMode),
    Make("runtime.failed-load", "LoadLibraryW", LoadSaysMissing),
    Make("runtime.free-null", "FreeLibrary", FreeAnything),
    Make("runtime.environment", "GetEnvironmentVariableW", NoVariable),
    Make("runtime.debug-events", "OutputDebugStringW", SayNothing),
    Make("runtime.debug-viewer", "OutputDebugStringA", SayTheLastOnly),
    Make("runtime.malloc-zero", "malloc", AllocateNothingForNothing),
    Make("runtime.calloc-lazy", "calloc", AllocateAndFill),
    Make("runtime.digits", "wcstoul", ReadAsciiOnly),
    Make("runtime.utf8", "MultiByteToWideChar", WidenAsLatin1),
};

}  // namespace

std::span<const Break> RuntimeBreaks() { return kBreaks; }

}  // namespace zor::selftest::broken
