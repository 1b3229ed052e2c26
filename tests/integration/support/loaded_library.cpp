#include "tests/integration/support/loaded_library.h"

#include <array>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

template <typename Function>
void Find(HMODULE library, const char* name, Function& function) {
  const FARPROC found = GetProcAddress(library, name);
  if (found == nullptr) ThrowLastError(name);
  // By way of a function type that converts to any other without a warning.
  function = reinterpret_cast<Function>(reinterpret_cast<void (*)()>(found));
}

HMODULE Load(const std::wstring& path) {
  const HMODULE library = LoadLibraryW(path.c_str());
  if (library == nullptr) ThrowLastError("LoadLibrary");
  return library;
}

}  // namespace

Exports FindExports(HMODULE library) {
  Exports exports{};
  Find(library, "ZorIntfConfig", exports.Config);
  Find(library, "ZorIntfCreate", exports.Create);
  Find(library, "ZorIntfDestroy", exports.Destroy);
  Find(library, "ZorIntfEnum", exports.Enum);
  Find(library, "ZorIntfFreeSerialized", exports.FreeSerialized);
  Find(library, "ZorIntfGet", exports.Get);
  Find(library, "ZorIntfGetInfo", exports.GetInfo);
  Find(library, "ZorIntfGetSerialized", exports.GetSerialized);
  Find(library, "ZorIntfGetStatus", exports.GetStatus);
  Find(library, "ZorIntfRegEventCallback", exports.RegEventCallback);
  Find(library, "ZorIntfSet", exports.Set);
  Find(library, "ZorIntfSetSerialized", exports.SetSerialized);
  Find(library, "ZorIntfStart", exports.Start);
  Find(library, "ZorIntfStop", exports.Stop);
  return exports;
}

std::wstring BinaryFolder() {
  std::array<wchar_t, 1024> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  if (length == 0 || length == path.size()) ThrowLastError("GetModuleFileName");
  const std::wstring program(path.data(), length);
  return program.substr(0, program.rfind(L'\\'));
}

std::wstring BuiltLibrary() { return BinaryFolder() + L"\\ZorInterface.dll"; }

LoadedLibrary::LoadedLibrary(const std::wstring& path)
    : module_(Load(path)), exports_(FindExports(module_.get())) {}

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
