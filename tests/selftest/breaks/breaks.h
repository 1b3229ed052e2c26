/// Functions of the system that are wrong on purpose: each must make one check fail.
#pragma once

#include <windows.h>

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zor::selftest::broken {

enum class Caller {
  kKit,      ///< what the check itself calls
  kLibrary,  ///< what the library calls
};

struct Break {
  std::string_view check;
  Caller caller;
  std::string_view function;
  void* replacement;
};

/// In the place of the function itself, whose name the program no longer reaches.
template <typename Function>
[[nodiscard]] Function* Real(const char* name) {
  for (const wchar_t* library : {L"kernel32.dll", L"kernelbase.dll", L"advapi32.dll", L"ntdll.dll",
                                 L"ucrtbase.dll", L"ole32.dll"}) {
    const HMODULE module = LoadLibraryW(library);
    if (module == nullptr) continue;
    if (const FARPROC found = GetProcAddress(module, name)) {
      return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(found));
    }
  }
  throw std::runtime_error("the system has no function " + std::string(name));
}

/// A break by a function without a state of its own.
template <typename Function>
[[nodiscard]] Break Make(std::string_view check, std::string_view function, Function* replacement,
                         Caller caller = Caller::kKit) {
  return {check, caller, function, reinterpret_cast<void*>(replacement)};
}

[[nodiscard]] std::span<const Break> PipeBreaks();
[[nodiscard]] std::span<const Break> ThreadBreaks();
[[nodiscard]] std::span<const Break> RuntimeBreaks();
[[nodiscard]] std::span<const Break> DiscoveryBreaks();
/// Of the library's checks, and of the times'.
[[nodiscard]] std::span<const Break> LibraryBreaks();

/// "hang" and "crash" in the place of a check's name: what opens a pipe does not come to its end.
[[nodiscard]] std::span<const Break> DeadEnds();

}  // namespace zor::selftest::broken
