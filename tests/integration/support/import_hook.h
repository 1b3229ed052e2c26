/// Calls of this program to the system that a test answers itself.
#pragma once

#include <windows.h>

#include <string_view>

namespace zor::testing {

/// The slot of a module's import table that holds a function, by its name; null when the module
/// does not import the function.
[[nodiscard]] void** FindImport(HMODULE module, std::string_view name) noexcept;
/// The same of this program. Throws instead of null.
[[nodiscard]] void** FindImport(std::string_view name);

void SetImport(void** slot, void* function) noexcept;

/// While it lives, every call of this program to the function `name` goes to `replacement`; calls
/// within the system do not.
template <typename Function>
class ImportHook {
 public:
  ImportHook(std::string_view name, Function* replacement)
      : slot_(FindImport(name)), real_(*slot_) {
    SetImport(slot_, reinterpret_cast<void*>(replacement));
  }
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;
  ~ImportHook() { SetImport(slot_, real_); }

 private:
  void** slot_;
  void* real_;
};

}  // namespace zor::testing
