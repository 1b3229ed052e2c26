#include "platform/environment.h"

#include <windows.h>

namespace zor::platform {

std::uint32_t GetEnvironment(const wchar_t* name, std::span<wchar_t> buffer) noexcept {
  return GetEnvironmentVariableW(name, buffer.data(), static_cast<DWORD>(buffer.size()));
}

}  // namespace zor::platform
