#include "discovery/library_scan.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "discovery/directory.h"
#include "interface/debug_log.h"
#include "platform/modules.h"

namespace zor {
namespace {

/// While one exists, a library that the system cannot load raises no box on the user's screen,
/// which the call would wait for. Leaves the thread's error mode as it was.
class NoErrorBox {
 public:
  NoErrorBox() noexcept { platform::SetThreadErrorMode(before_ | platform::kReportToCaller); }
  NoErrorBox(const NoErrorBox&) = delete;
  NoErrorBox& operator=(const NoErrorBox&) = delete;
  ~NoErrorBox() { platform::SetThreadErrorMode(before_); }

 private:
  const std::uint32_t before_ = platform::ThreadErrorMode();
};

/// Frees its module on every path, also when there is none.
class ModuleHolder {
 public:
  ModuleHolder() = default;
  ModuleHolder(const ModuleHolder&) = delete;
  ModuleHolder& operator=(const ModuleHolder&) = delete;
  ~ModuleHolder() { platform::ReleaseModule(module_); }

  /// Null when the library cannot be loaded, which `error` then gives the reason of.
  platform::Module* Load(const std::wstring& path, std::uint32_t& error) noexcept {
    const NoErrorBox no_box;
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

/// The package's entries whose names are those of algorithm libraries.
std::vector<std::wstring> ListLibraries(const std::wregex& library_filter,
                                        const std::wstring& directory) {
  std::vector<std::wstring> files;
  for (const std::wstring& path : ListDirectory(directory)) {
    std::wstring file = FileName(path);
    if (std::regex_match(file, library_filter)) files.push_back(std::move(file));
  }
  return files;
}

/// Loads the library, asks it and unloads it.
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

/// The names of the catalogue whose patterns the library's file name matches.
std::vector<std::wstring> NamesOfLibrary(const AlgorithmCatalogue& catalogue,
                                         const std::wstring& file) {
  std::vector<std::wstring> names;
  for (const auto& [name, pattern] : catalogue) {
    if (std::regex_match(file, pattern)) names.push_back(name);
  }
  return names;
}

}  // namespace

std::vector<std::wstring> ListLocalAlgorithms(const AlgorithmCatalogue& catalogue,
                                              const std::wregex& library_filter,
                                              const DriverPackageInfo& package,
                                              const SearchObserver& observer) {
  std::vector<std::wstring> names;
  if (!package.found) return names;
  observer.Begin(SearchStep::kListPackage, package.path);
  const std::vector<std::wstring> files = ListLibraries(library_filter, package.path);
  observer.SawPackage(files);
  for (const std::wstring& file : files) {
    observer.Begin(SearchStep::kAskLibrary, file);
    const LibraryQuery query = QueryLibrary(package.path, file);
    std::vector<std::wstring> known;
    if (!query.failed) known = NamesOfLibrary(catalogue, file);
    observer.SawLibrary(query, known);
    for (std::wstring& name : known) names.push_back(std::move(name));
  }
  return names;
}

}  // namespace zor
