#include "tests/integration/support/loaded_library.h"

#include <array>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

template <typename Function>
Function Find(HMODULE library, const char* name) {
  const FARPROC found = GetProcAddress(library, name);
  if (found == nullptr) ThrowLastError(name);
  // By way of a function type that converts to any other without a warning.
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(found));
}

HMODULE Load(const std::wstring& path) {
  const HMODULE library = LoadLibraryW(path.c_str());
  if (library == nullptr) ThrowLastError("LoadLibrary");
  return library;
}

}  // namespace

Exports::Exports(HMODULE library)
    : Config(Find<decltype(Config)>(library, "ZorIntfConfig")),
      Create(Find<decltype(Create)>(library, "ZorIntfCreate")),
      Destroy(Find<decltype(Destroy)>(library, "ZorIntfDestroy")),
      Enum(Find<decltype(Enum)>(library, "ZorIntfEnum")),
      FreeSerialized(Find<decltype(FreeSerialized)>(library, "ZorIntfFreeSerialized")),
      Get(Find<decltype(Get)>(library, "ZorIntfGet")),
      GetInfo(Find<decltype(GetInfo)>(library, "ZorIntfGetInfo")),
      GetSerialized(Find<decltype(GetSerialized)>(library, "ZorIntfGetSerialized")),
      GetStatus(Find<decltype(GetStatus)>(library, "ZorIntfGetStatus")),
      RegEventCallback(Find<decltype(RegEventCallback)>(library, "ZorIntfRegEventCallback")),
      Set(Find<decltype(Set)>(library, "ZorIntfSet")),
      SetSerialized(Find<decltype(SetSerialized)>(library, "ZorIntfSetSerialized")),
      Start(Find<decltype(Start)>(library, "ZorIntfStart")),
      Stop(Find<decltype(Stop)>(library, "ZorIntfStop")) {}

std::wstring BinaryFolder() {
  std::array<wchar_t, 1024> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  if (length == 0 || length == path.size()) ThrowLastError("GetModuleFileName");
  const std::wstring program(path.data(), length);
  return program.substr(0, program.rfind(L'\\'));
}

std::wstring BuiltLibrary() { return BinaryFolder() + L"\\ZorInterface.dll"; }

LoadedLibrary::LoadedLibrary(const std::wstring& path)
    : module_(Load(path)), exports_(module_.get()) {}

bool IsUnmapped(const void* address) {
  MEMORY_BASIC_INFORMATION region{};
  if (VirtualQuery(address, &region, sizeof(region)) == 0) ThrowLastError("VirtualQuery");
  return region.State == MEM_FREE;
}

LibraryCopy::LibraryCopy(const std::wstring& name) {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0) {
    ThrowLastError("GetTempPath");
  }
  // The process id: several processes may make their copies at the same time.
  path_ = std::wstring(folder.data()) + std::to_wstring(GetCurrentProcessId()) + L'-' + name;
  if (CopyFileW(BuiltLibrary().c_str(), path_.c_str(), FALSE) == FALSE) ThrowLastError("CopyFile");
}

LibraryCopy::~LibraryCopy() {
  if (!path_.empty()) DeleteFileW(path_.c_str());
}

}  // namespace zor::testing
