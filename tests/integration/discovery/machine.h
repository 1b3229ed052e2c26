/// What the library finds on the machine it runs on: a driver store and algorithm libraries.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace zor::testing {

/// The process's system root is a folder of the test's own while this object lives, with an empty
/// driver store. Puts the process's environment and search for libraries back.
class Machine {
 public:
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  [[nodiscard]] const std::filesystem::path& root() const noexcept { return root_; }
  [[nodiscard]] const std::filesystem::path& store() const noexcept { return store_; }

  /// A new folder with such a name among the system's temporary ones. Whose it is removes it.
  [[nodiscard]] static std::filesystem::path NewFolder(const std::wstring& prefix);

  /// Stages a package whose INF file holds exactly these bytes. Its folder.
  std::filesystem::path AddPackage(const std::wstring& name, std::string_view inf) const;
  /// The same with an INF file that states this version.
  std::filesystem::path AddPackageOfVersion(const std::wstring& name,
                                            std::string_view version) const;

  /// Copies a library that was built for the test into a package, under another name.
  static void AddLibrary(const std::filesystem::path& package, const std::wstring& name,
                         const std::wstring& built);

 private:
  std::filesystem::path root_;
  std::filesystem::path store_;
  std::wstring old_root_;
};

/// The folder that the process has added to its search for libraries.
[[nodiscard]] std::wstring LibraryDirectory();

}  // namespace zor::testing
