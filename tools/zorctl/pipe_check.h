/// Whether the server's pipes are there, without becoming their client.
#pragma once

#include <cstdint>

namespace zor::ctl {

inline constexpr auto kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
inline constexpr auto kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

enum class PipeState : std::uint8_t { kFree, kAbsent, kBusy, kUnknown };

struct PipeCheck {
  PipeState state = PipeState::kUnknown;
  std::uint32_t error = 0;  ///< the system's, for kUnknown
};

/// Busy is a pipe of which no instance was free for a moment.
[[nodiscard]] PipeCheck CheckPipe(const wchar_t* name);

}  // namespace zor::ctl
