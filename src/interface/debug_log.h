/// The debug log: one line of the debugger output per call, with the prefix "[zor] ".
#pragma once

namespace zor {

/// Formats like printf and writes the line whole, whatever its length. No newline is added: the
/// formats end in one. Neither form reports a failure; out of memory, the line is dropped.
/// Any thread may log at any time.
[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...) noexcept;
void Log(const wchar_t* format, ...) noexcept;

}  // namespace zor
