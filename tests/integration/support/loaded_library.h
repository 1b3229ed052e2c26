/// The built library, loaded from outside as an application does it.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/kit/exports.h"

namespace zor::testing {

/// The exports of a loaded library, found by name.
[[nodiscard]] Exports FindExports(HMODULE library);

/// The folder that the test program and the library were built into.
[[nodiscard]] std::wstring BinaryFolder();
/// The library that was built with this test.
[[nodiscard]] std::wstring BuiltLibrary();

/// A loaded library, unloaded at the latest with this object.
class LoadedLibrary {
 public:
  LoadedLibrary() : LoadedLibrary(BuiltLibrary()) {}
  explicit LoadedLibrary(const std::wstring& path);

  [[nodiscard]] const Exports* operator->() const noexcept { return &exports_; }
  [[nodiscard]] const Exports& exports() const noexcept { return exports_; }

  void Unload() noexcept { module_.reset(); }

  /// An address inside the library, to see afterwards what has become of it.
  [[nodiscard]] const void* Inside() const noexcept {
    return reinterpret_cast<const void*>(exports_.Config);
  }

 private:
  struct Freer {
    void operator()(HMODULE library) const noexcept { FreeLibrary(library); }
  };

  std::unique_ptr<std::remove_pointer_t<HMODULE>, Freer> module_;
  Exports exports_;
};

/// True when nothing is mapped at `address`.
[[nodiscard]] bool IsUnmapped(const void* address);

/// A copy of the built library under another name, which the system treats as another library.
/// Deleted with this object, which needs it to be unloaded.
class LibraryCopy {
 public:
  explicit LibraryCopy(const std::wstring& name);
  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;
  LibraryCopy(LibraryCopy&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  ~LibraryCopy();

  [[nodiscard]] const std::wstring& path() const noexcept { return path_; }

 private:
  std::wstring path_;
};

}  // namespace zor::testing
