/// What this program does as another process of a check's.
#pragma once

#include <span>
#include <string>

namespace zor::selftest {

/// Serves one client on the pipe whose name follows: answers its first message with messages of 10
/// and 20 bytes, and waits to be killed.
inline constexpr const wchar_t* kServeAndWait = L"serve-and-wait";

/// Loads the library and ends in the state that follows, with the exit code kEnded.
inline constexpr const wchar_t* kEndIn = L"end-in";
inline constexpr const wchar_t* kLoaded = L"loaded";
inline constexpr const wchar_t* kInCallback = L"in-callback";
inline constexpr const wchar_t* kInCall = L"in-call";
inline constexpr unsigned kEnded = 42;

/// Runs an act: the exit code.
[[nodiscard]] int Act(std::span<const std::wstring> words);

}  // namespace zor::selftest
