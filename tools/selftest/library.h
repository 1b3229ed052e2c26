/// The library beside this program.
#pragma once

#include <windows.h>

#include <string>

#include "interface/zor_loader.h"

namespace zor::selftest {

/// Loaded; unloaded at the latest with this object.
class Library {
 public:
  /// Throws when it cannot be loaded.
  Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { static_cast<void>(Unload()); }

  [[nodiscard]] const ZorLibrary* operator->() const noexcept { return &library_; }

  /// Whether it has left the process.
  bool Unload() noexcept { return zor_unload(&library_); }

 private:
  ZorLibrary library_{};
};

}  // namespace zor::selftest
