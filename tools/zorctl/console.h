/// The standard streams, and Ctrl-C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "tools/windows/handle.h"

namespace zor::ctl {

/// Data: to standard output, at once. UTF-8. Throws std::runtime_error when it cannot be written.
void Print(std::string_view text);

/// Bytes as they are, to standard output. Throws as Print() does.
void PrintBytes(std::span<const std::uint8_t> bytes);

/// All bytes of standard input.
[[nodiscard]] std::vector<std::uint8_t> ReadInput();

/// A message: to standard error, with zorctl's name in front and a line end.
void Say(std::string_view text);

/// Part of a line on standard error, as it is.
void SayRaw(std::string_view text);

/// What is being done, until SayDone(): on a terminal part of a line that goes away, else a
/// message.
void SayDoing(std::string_view text);
void SayDone();

/// Of standard output: the terminal's width, 0 when it is none; whether it can show colours and
/// may.
[[nodiscard]] std::size_t TerminalWidth() noexcept;
[[nodiscard]] bool TerminalHasColour() noexcept;

/// Whether a person sees both standard streams.
[[nodiscard]] bool IsTerminal() noexcept;

/// Signalled by Ctrl-C from the first call of this on, for the rest of the process.
[[nodiscard]] HANDLE StopSignal();

}  // namespace zor::ctl
