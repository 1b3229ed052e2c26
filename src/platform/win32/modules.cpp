#include "platform/modules.h"

#include <windows.h>

namespace zor::platform {
namespace {

HMODULE ToHandle(Module* module) noexcept { return reinterpret_cast<HMODULE>(module); }

}  // namespace

bool SetLibraryDirectory(const wchar_t* directory) noexcept {
  return SetDllDirectoryW(directory) != FALSE;
}

std::uint32_t ThreadErrorMode() noexcept { return GetThreadErrorMode(); }

void SetThreadErrorMode(std::uint32_t mode) noexcept { ::SetThreadErrorMode(mode, nullptr); }

LoadModuleResult LoadModule(const wchar_t* path) noexcept {
  const HMODULE module = LoadLibraryW(path);
  const DWORD error = GetLastError();
  return {.module = reinterpret_cast<Module*>(module), .error = error};
}

EntryPoint FindEntryPoint(Module* module, const char* name) noexcept {
  return reinterpret_cast<EntryPoint>(GetProcAddress(ToHandle(module), name));
}

void ReleaseModule(Module* module) noexcept { FreeLibrary(ToHandle(module)); }

}  // namespace zor::platform
