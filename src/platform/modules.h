/// Loading libraries at run time. Each function is one system call.
#pragma once

#include <cstdint>

namespace zor::platform {

/// A loaded library. Whoever loads it must free it.
struct Module;

/// Sets the one directory that the process's search for libraries has besides the usual ones.
[[nodiscard]] bool SetLibraryDirectory(const wchar_t* directory) noexcept;

/// The thread's error mode: which failures the system shows in a box that waits for the user.
[[nodiscard]] std::uint32_t ThreadErrorMode() noexcept;
void SetThreadErrorMode(std::uint32_t mode) noexcept;

/// In an error mode: the system reports serious errors, such as a library that it cannot load, to
/// the caller alone (SEM_FAILCRITICALERRORS).
inline constexpr std::uint32_t kReportToCaller = 1;

struct LoadModuleResult {
  Module* module = nullptr;
  std::uint32_t error = 0;  ///< meaningful when `module` is null
};

/// Runs the library's own initialisation.
[[nodiscard]] LoadModuleResult LoadModule(const wchar_t* path) noexcept;

/// A function of unknown type: cast it to its own before the call.
using EntryPoint = void (*)();

/// Null when the library exports nothing under this name.
[[nodiscard]] EntryPoint FindEntryPoint(Module* module, const char* name) noexcept;

/// Releases one reference. Passing null is allowed and releases nothing. The result is not
/// reported.
void ReleaseModule(Module* module) noexcept;

}  // namespace zor::platform
