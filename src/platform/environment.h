/// The process's environment.
#pragma once

#include <cstdint>
#include <span>

namespace zor::platform {

/// Copies a variable's value and a NUL. The value's length; 0 when the variable is absent or empty;
/// more than the buffer's size, and nothing copied, when it does not fit.
[[nodiscard]] std::uint32_t GetEnvironment(const wchar_t* name, std::span<wchar_t> buffer) noexcept;

}  // namespace zor::platform
