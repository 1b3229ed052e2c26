#include "discovery/library_scan.h"

#include <array>
#include <map>
#include <utility>

#include "discovery/directory.h"
#include "interface/debug_log.h"
#include "platform/modules.h"

namespace zor {
namespace {

/// Frees its module on every path, also when there is none.
class ModuleHolder {
 public:
  ModuleHolder() = default;
  ModuleHolder(const ModuleHolder&) = delete;
  ModuleHolder& operator=(const ModuleHolder&) = delete;
  ~ModuleHolder() { platform::ReleaseModule(module_); }

  /// Null when the library cannot be loaded, which `error` then gives the reason of.
  platform::Module* Load(const std::wstring& path, std::uint32_t& error) noexcept {
    const auto loaded = platform::LoadModule(path.c_str());
    error = loaded.error;
    return module_ = loaded.module;
  }

 private:
  platform::Module* module_ = nullptr;
};

/// What a library writes about itself. Only the second word is known here; the rest is room, and
/// more of it than any library may use (32 bytes).
using InformationRecord = std::array<std::uint32_t, 64>;

using InformationEntry = std::int32_t (*)(void*);

}  // namespace

std::vector<std::wstring> ListLibraries(const std::wregex& library_filter,
                                        const std::wstring& directory) {
  std::vector<std::wstring> files;
  for (const std::wstring& path : ListDirectory(directory)) {
    std::wstring file = FileName(path);
    if (std::regex_match(file, library_filter)) files.push_back(std::move(file));
  }
  return files;
}

LibraryQuery QueryLibrary(const std::wstring& directory, const std::wstring& file) {
  if (!platform::SetLibraryDirectory(directory.c_str())) {
    Log(L"Failed to set dll dir\n");
    return {.failed = LibraryStep::kSetDirectory};
  }
  const std::wstring path = directory + L'\\' + file;
  ModuleHolder holder;
  std::uint32_t error = 0;
  platform::Module* const module = holder.Load(path, error);
  if (module == nullptr) return {.failed = LibraryStep::kLoad, .error = error};
  const auto entry = platform::FindEntryPoint(module, "zor_get_dll_information");
  if (entry == nullptr) return {.failed = LibraryStep::kFindEntry};

  InformationRecord record = {};
  const std::int32_t answer = reinterpret_cast<InformationEntry>(entry)(&record);
  if (answer != 0) return {.failed = LibraryStep::kAsk, .answer = answer};
  return {.algorithm_id = record[1]};
}

std::vector<std::wstring> NamesOfLibrary(const AlgorithmCatalogue& catalogue,
                                         const std::wstring& file) {
  std::vector<std::wstring> names;
  for (const auto& [name, pattern] : catalogue) {
    if (std::regex_match(file, pattern)) names.push_back(name);
  }
  return names;
}

std::vector<std::wstring> ListLocalAlgorithms(const AlgorithmCatalogue& catalogue,
                                              const std::wregex& library_filter,
                                              const DriverPackageInfo& package) {
  std::vector<std::wstring> names;
  if (!package.found) return names;
  for (const std::wstring& file : ListLibraries(library_filter, package.path)) {
    if (QueryLibrary(package.path, file).failed != LibraryStep::kDone) continue;
    for (std::wstring& name : NamesOfLibrary(catalogue, file)) names.push_back(std::move(name));
  }
  return names;
}

}  // namespace zor
