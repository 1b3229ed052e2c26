/// What the system tells the library about its process.
#pragma once

namespace zor::platform {

/// True once the process is ending: the system has then already ended every other thread, wherever
/// it stood. The library's entry point sets this (interface/dll_main.cpp).
[[nodiscard]] bool ProcessIsEnding() noexcept;

}  // namespace zor::platform
