/// What this program does as another process of a check's.
#pragma once

#include <span>
#include <string>

namespace zor::selftest {

/// Serves one client on the pipe whose name follows: answers its first message with messages of 10
/// and 20 bytes, and waits to be killed.
inline constexpr const wchar_t* kServeAndWait = L"serve-and-wait";

/// Runs an act: the exit code.
[[nodiscard]] int Act(std::span<const std::wstring> words);

}  // namespace zor::selftest
