/// The two pipes of the library.
#pragma once

namespace zor::selftest {

inline constexpr const wchar_t* kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
inline constexpr const wchar_t* kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

}  // namespace zor::selftest
