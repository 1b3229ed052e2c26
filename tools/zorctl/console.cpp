#include "tools/zorctl/console.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

namespace zor::ctl {
namespace {

// fmt knows a console and writes to it what the console takes.
void Write(std::FILE* stream, std::string_view text) { fmt::print(stream, "{}", text); }

/// A message that cannot be delivered is no failure of the command.
void WriteMessage(std::string_view text) {
  try {
    Write(stderr, text);
  } catch (const std::exception&) {
  }
  static_cast<void>(std::fflush(stderr));
}

constexpr std::size_t kDoingWidth = 78;

[[noreturn]] void ThrowOutputFailed() {
  throw std::runtime_error("standard output cannot be written to");
}

bool IsTerminal(std::FILE* stream) noexcept { return _isatty(_fileno(stream)) != 0; }

HANDLE MakeStopEvent() {
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) windows::ThrowLastError("making an event");
  return event;
}

BOOL WINAPI OnConsoleControl(DWORD /*event*/) { return SetEvent(StopSignal()); }

}  // namespace

void Print(std::string_view text) {
  if (text.empty()) return;
  // A stream without a file takes what it is given and loses it.
  if (_fileno(stdout) < 0) ThrowOutputFailed();
  try {
    Write(stdout, text);
  } catch (const std::system_error&) {
    ThrowOutputFailed();
  }
  if (std::fflush(stdout) != 0) ThrowOutputFailed();
}

void PrintBytes(std::span<const std::uint8_t> bytes) {
  if (_fileno(stdout) < 0) ThrowOutputFailed();
  const int mode = _setmode(_fileno(stdout), _O_BINARY);
  const std::size_t written = std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  const bool flushed = std::fflush(stdout) == 0;
  _setmode(_fileno(stdout), mode);
  if (written != bytes.size() || !flushed) ThrowOutputFailed();
}

std::vector<std::uint8_t> ReadInput() {
  _setmode(_fileno(stdin), _O_BINARY);
  std::vector<std::uint8_t> bytes;
  std::array<std::uint8_t, 4096> part{};
  while (const std::size_t count = std::fread(part.data(), 1, part.size(), stdin)) {
    bytes.insert(bytes.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return bytes;
}

void Say(std::string_view text) { WriteMessage(fmt::format("zorctl: {}\n", text)); }

void SayRaw(std::string_view text) { WriteMessage(text); }

void SayDoing(std::string_view text) {
  if (!IsTerminal(stderr)) {
    Say(fmt::format("doctor: {}", text));
    return;
  }
  SayDone();
  SayRaw(fmt::format("\r{}", text.substr(0, kDoingWidth)));
}

void SayDone() {
  if (IsTerminal(stderr)) SayRaw('\r' + std::string(kDoingWidth, ' ') + '\r');
}

std::size_t TerminalWidth() noexcept {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  if (!IsTerminal(stdout) || GetConsoleScreenBufferInfo(output, &info) == FALSE) return 0;
  return static_cast<std::size_t>(std::max<int>(info.srWindow.Right - info.srWindow.Left + 1, 40));
}

bool TerminalHasColour() noexcept {
  // https://no-color.org: who sets the variable wants none.
  if (!IsTerminal(stdout) || GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) != 0) return false;
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(output, &mode) != FALSE &&
         SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

bool IsTerminal() noexcept { return IsTerminal(stdout) && IsTerminal(stderr); }

HANDLE StopSignal() {
  // Never closed: the system's own thread signals it.
  static const HANDLE event = [] {
    const HANDLE made = MakeStopEvent();
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    return made;
  }();
  return event;
}

}  // namespace zor::ctl
