#include "tests/support/modules.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string_view>

#include "platform/modules.h"
#include "tests/support/calls.h"

namespace zor::scripted {

Modules& TheModules() {
  static Modules modules;
  return modules;
}

int Modules::LoadedCount() const {
  return std::accumulate(files.begin(), files.end(), 0, [](int count, const auto& file) {
    return count + file.second.references;
  });
}

}  // namespace zor::scripted

namespace zor::platform {
namespace {

using scripted::Function;
using scripted::ModuleFile;
using scripted::PlatformScope;
using scripted::TheCalls;
using scripted::TheModules;

// A module is its file: the system's handles are as little owned by whoever holds them.
ModuleFile& ToFile(Module* module) { return *reinterpret_cast<ModuleFile*>(module); }

}  // namespace

bool SetLibraryDirectory(const wchar_t* directory) noexcept {
  const PlatformScope scope;
  TheModules().calls.push_back(std::wstring(L"SetLibraryDirectory ") + directory);
  if (TheCalls().Enter(Function::kSetLibraryDirectory)) return false;
  if (TheModules().directory_changes_left == 0) return false;
  --TheModules().directory_changes_left;
  return true;
}

std::uint32_t ThreadErrorMode() noexcept { return TheModules().error_mode; }

void SetThreadErrorMode(std::uint32_t mode) noexcept { TheModules().error_mode = mode; }

LoadModuleResult LoadModule(const wchar_t* path) noexcept {
  const PlatformScope scope;
  TheModules().error_modes_of_loads.push_back(TheModules().error_mode);
  TheModules().calls.push_back(std::wstring(L"LoadModule ") + path);
  if (TheCalls().Enter(Function::kLoadModule)) return {.error = TheModules().load_error};
  const auto file = TheModules().files.find(path);
  if (file == TheModules().files.end()) return {.error = TheModules().load_error};
  ++file->second.references;
  return {.module = reinterpret_cast<Module*>(&file->second)};
}

EntryPoint FindEntryPoint(Module* module, const char* name) noexcept {
  const PlatformScope scope;
  TheModules().calls.push_back(L"FindEntryPoint " +
                               std::wstring(name, name + std::string_view(name).size()));
  if (TheCalls().Enter(Function::kFindEntryPoint)) return nullptr;
  const ModuleFile& file = ToFile(module);
  if (file.references == 0) ADD_FAILURE() << "the library is not loaded";
  if (std::string_view(name) != "zor_get_dll_information") return nullptr;
  return reinterpret_cast<EntryPoint>(file.information);
}

void ReleaseModule(Module* module) noexcept {
  const PlatformScope scope;
  TheModules().calls.emplace_back(module == nullptr ? L"ReleaseModule null" : L"ReleaseModule");
  if (module == nullptr) return;
  if (--ToFile(module).references < 0) ADD_FAILURE() << "the library is not loaded";
}

}  // namespace zor::platform
