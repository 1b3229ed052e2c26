/// The scripted loader: platform/modules.h.
///
/// A test that uses it fails when the product looks into a library that is not loaded.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zor::scripted {

struct ModuleFile {
  /// The library's information entry; null when it has none.
  std::int32_t (*information)(void* record) = nullptr;
  int references = 0;
};

struct Modules {
  /// By path; any other path is not to be loaded.
  std::map<std::wstring, ModuleFile> files;
  /// Why any other path is not loaded.
  std::uint32_t load_error = 126;
  /// How many more times the search directory can be set; negative is without an end.
  int directory_changes_left = -1;
  /// The one thread's error mode, and what it was at each load.
  std::uint32_t error_mode = 0;
  std::vector<std::uint32_t> error_modes_of_loads;
  /// The calls in order: "SetLibraryDirectory C:\\package".
  std::vector<std::wstring> calls;

  [[nodiscard]] int LoadedCount() const;
};

[[nodiscard]] Modules& TheModules();

}  // namespace zor::scripted
