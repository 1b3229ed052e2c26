/// Whether the server's pipes are there, without becoming their client.
#pragma once

#include <cstdint>

namespace zor::ctl {

inline constexpr auto kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
inline constexpr auto kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

enum class PipeState : std::uint8_t { kFree, kAbsent, kBusy, kUnknown };

struct PipeCheck {
  PipeState state = PipeState::kUnknown;
  std::uint32_t error = 0;  ///< the system's, unless the pipe is free
};

/// What it means that a pipe could not be opened, or waited for, with this error.
[[nodiscard]] PipeCheck ExplainPipeError(std::uint32_t error) noexcept;

/// Busy is a pipe of which no instance was free for a moment. Where the system cannot wait for a
/// pipe, as in a Windows container, the pipe is opened for a moment and closed.
[[nodiscard]] PipeCheck CheckPipe(const wchar_t* name);

}  // namespace zor::ctl
