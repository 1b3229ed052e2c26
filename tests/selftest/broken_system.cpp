// The kit on a system that is broken: in the process of a check, functions of the system are
// replaced, in this program's import table or in the library's. Which, ZOR_SELFTEST_BREAK names, by
// the check that must see it. --breaks lists them.
#include <windows.h>
#include <winternl.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

#include "tests/integration/support/import_hook.h"
#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

template <typename Use>
void ForEachBreak(Use use) {
  for (const auto theme :
       {PipeBreaks(), ThreadBreaks(), RuntimeBreaks(), DiscoveryBreaks(), LibraryBreaks()}) {
    for (const Break& one : theme) use(one);
  }
}

std::string_view Chosen() {
  const char* chosen = std::getenv("ZOR_SELFTEST_BREAK");
  return chosen == nullptr ? std::string_view() : chosen;
}

void Install(HMODULE module, Caller caller) {
  const auto install = [&](const Break& one) {
    if (one.check != Chosen() || one.caller != caller) return;
    void** slot = zor::testing::FindImport(module, one.function);
    if (slot == nullptr) {
      std::printf("failed no import of %s\n", std::string(one.function).c_str());
      std::fflush(stdout);
      ExitProcess(1);
    }
    zor::testing::SetImport(slot, one.replacement);
  };
  ForEachBreak(install);
  for (const Break& one : DeadEnds()) install(one);
}

// --- the loader's notifications, which no header declares

struct Notification {
  ULONG flags;
  const UNICODE_STRING* full_name;
  const UNICODE_STRING* base_name;
  void* base;
  ULONG size;
};

constexpr ULONG kLoaded = 1;  // its imports are bound, and it has not run yet

void CALLBACK OnLibrary(ULONG reason, const Notification* notification, void* /*context*/) {
  if (reason != kLoaded) return;
  const std::wstring_view name(notification->base_name->Buffer,
                               notification->base_name->Length / sizeof(wchar_t));
  if (name == L"ZorInterface.dll") {
    Install(static_cast<HMODULE>(notification->base), Caller::kLibrary);
  }
}

/// Before main(): only where a check runs, so that the kit itself goes on to work.
struct Installer {
  Installer() {
    const std::wstring_view command = GetCommandLineW();
    if (command.ends_with(L" --breaks")) {
      std::string_view last;
      ForEachBreak([&](const Break& one) {
        if (one.check != last) std::printf("%s\n", std::string(one.check).c_str());
        last = one.check;
      });
      std::fflush(stdout);
      ExitProcess(0);
    }
    const bool looks = command.find(L" --check ") != std::wstring_view::npos ||
                       command.find(L" --act ") != std::wstring_view::npos;
    if (!looks || Chosen().empty()) return;
    using Register = NTSTATUS NTAPI(ULONG, decltype(&OnLibrary), void*, void**);
    void* cookie = nullptr;
    Real<Register>("LdrRegisterDllNotification")(0, OnLibrary, nullptr, &cookie);
    Install(GetModuleHandleW(nullptr), Caller::kKit);
  }
};

const Installer installer;

}  // namespace
}  // namespace zor::selftest::broken
