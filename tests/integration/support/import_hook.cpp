#include "tests/integration/support/import_hook.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace zor::testing {
namespace {

template <typename T>
T* At(HMODULE module, std::size_t offset) noexcept {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(module) + offset);
}

}  // namespace

void** FindImport(HMODULE module, std::string_view name) noexcept {
  const auto* header = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* headers = At<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(header->e_lfanew));
  const auto& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* from = At<IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress);
  for (; from->Name != 0; ++from) {
    const auto* thunk = At<IMAGE_THUNK_DATA>(module, from->OriginalFirstThunk);
    auto** slot = At<void*>(module, from->FirstThunk);
    for (; thunk->u1.AddressOfData != 0; ++thunk, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(thunk->u1.Ordinal)) continue;
      const auto* import = At<IMAGE_IMPORT_BY_NAME>(module, thunk->u1.AddressOfData);
      if (name == static_cast<const char*>(import->Name)) return slot;
    }
  }
  return nullptr;
}

void** FindImport(std::string_view name) {
  void** const slot = FindImport(GetModuleHandleW(nullptr), name);
  if (slot == nullptr) {
    throw std::runtime_error("this program does not import " + std::string(name));
  }
  return slot;
}

void SetImport(void** slot, void* function) noexcept {
  DWORD protection = 0;
  VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
  *slot = function;
  VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

}  // namespace zor::testing
