#include "tools/selftest/debug_lines.h"

#include <mutex>
#include <string_view>

namespace zor::selftest {
namespace {

constexpr DWORD kNarrow = 0x40010006;
constexpr DWORD kWide = 0x4001000A;

std::mutex mutex;
std::vector<DebugLine> lines;

/// The characters; the length that comes with them counts the terminator.
template <typename Char>
std::string Take(const EXCEPTION_RECORD& record) {
  const std::basic_string_view<Char> text(
      // NOLINTNEXTLINE(performance-no-int-to-ptr): the system's way to pass it
      reinterpret_cast<const Char*>(record.ExceptionInformation[1]),
      record.ExceptionInformation[0] - 1);
  std::string line;
  for (const Char c : text) {
    if (c != Char{'\n'}) line += c < 128 ? static_cast<char>(c) : '?';
  }
  return line;
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kNarrow && record.ExceptionCode != kWide) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const std::scoped_lock lock(mutex);
  lines.push_back({record.ExceptionCode, GetCurrentThreadId(),
                   record.ExceptionCode == kNarrow ? Take<char>(record) : Take<wchar_t>(record)});
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DebugLines::DebugLines() : handler_(AddVectoredExceptionHandler(1, OnException)) {
  if (handler_ == nullptr) ThrowLastError("AddVectoredExceptionHandler");
}

DebugLines::~DebugLines() { RemoveVectoredExceptionHandler(handler_); }

std::vector<DebugLine> DebugLines::Taken() const {
  const std::scoped_lock lock(mutex);
  return lines;
}

}  // namespace zor::selftest
