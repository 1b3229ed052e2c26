#include "tools/zorctl/console.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <io.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace zor::ctl {
namespace {

// fmt knows a console and writes to it what the console takes.
void Write(std::FILE* stream, std::string_view text) {
  fmt::print(stream, "{}", text);
  static_cast<void>(std::fflush(stream));
}

bool IsTerminal(std::FILE* stream) noexcept { return _isatty(_fileno(stream)) != 0; }

HANDLE MakeStopEvent() {
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) ThrowLastError("making an event");
  return event;
}

BOOL WINAPI OnConsoleControl(DWORD /*event*/) { return SetEvent(StopSignal()); }

}  // namespace

void Print(std::string_view text) { Write(stdout, text); }

void PrintBytes(std::span<const std::uint8_t> bytes) {
  static_cast<void>(std::fflush(stdout));
  const int mode = _setmode(_fileno(stdout), _O_BINARY);
  const std::size_t written = std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  static_cast<void>(std::fflush(stdout));
  _setmode(_fileno(stdout), mode);
  if (written != bytes.size()) throw std::runtime_error("standard output takes no more");
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

void Say(std::string_view text) { Write(stderr, fmt::format("zorctl: {}\n", text)); }

void SayRaw(std::string_view text) { Write(stderr, text); }

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
