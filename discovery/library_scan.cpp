#include "discovery/library_scan.h"

#include <array>

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

  void Load(const std::wstring& path) noexcept { module_ = platform::LoadModule(path.c_str()); }
  [[nodiscard]] platform::Module* get() const noexcept { return module_; }

 private:
  platform::Module* module_ = nullptr;
};

/// What a library writes about itself. Only the second word is known here; the rest is room, and
/// more of it than any library may use (32 bytes).
using InformationRecord = std::array<std::uint32_t, 64>;

using InformationEntry = std::int32_t (*)(void*);

std::vector<std::wstring> ListLibraries(const std::wregex& library_filter,
                                        const std::wstring& directory) {
  std::vector<std::wstring> files;
  for (const std::wstring& path : ListDirectory(directory)) {
    std::wstring file = FileName(path);
    if (std::regex_match(file, library_filter)) files.push_back(std::move(file));
  }
  return files;
}

}  // namespace

std::optional<std::uint32_t> QueryLibrary(const std::wstring& directory, const std::wstring& file) {
  if (!platform::SetLibraryDirectory(directory.c_str())) {
    Log(L"Failed to set dll dir\n");
    return std::nullopt;
  }
  const std::wstring path = directory + L'\\' + file;
  ModuleHolder module;
  module.Load(path);
  if (module.get() == nullptr) return std::nullopt;
  const auto entry = platform::FindEntryPoint(module.get(), "zor_get_dll_information");
  if (entry == nullptr) return std::nullopt;

  InformationRecord record = {};
  if (reinterpret_cast<InformationEntry>(entry)(&record) != 0) return std::nullopt;
  return record[1];
}

std::vector<std::wstring> ListLocalAlgorithms(const AlgorithmCatalogue& catalogue,
                                              const std::wregex& library_filter,
                                              const DriverPackageInfo& package) {
  std::vector<std::wstring> names;
  if (!package.found) return names;
  for (const std::wstring& file : ListLibraries(library_filter, package.path)) {
    if (!QueryLibrary(package.path, file)) continue;
    for (const auto& [name, pattern] : catalogue) {
      if (std::regex_match(file, pattern)) names.push_back(name);
    }
  }
  return names;
}

}  // namespace zor
