#include "tests/integration/support/debug_capture.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <span>
#include <string_view>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

// Each message reaches the process as one exception before it goes anywhere else: narrow ones and
// Wine's wide ones as the first, wide ones of Windows 10 and later as the second.
constexpr DWORD kNarrowMessage = 0x40010006;
constexpr DWORD kWideMessage = 0x4001000A;

struct Line {
  DWORD thread = 0;
  std::string text;
};

struct Captured {
  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<Line> lines;
};

// Outlives every capture: a handler may still be running when its capture ends.
Captured& TheCaptured() {
  static Captured captured;
  return captured;
}

std::string Narrow(std::wstring_view wide) {
  const auto length = static_cast<int>(wide.size());
  std::string narrow(wide.size() * 4, '\0');
  const int written = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, narrow.data(),
                                          static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(written));
  return narrow;
}

/// The message's characters; the length that comes with it counts the terminator.
template <typename Char>
std::basic_string_view<Char> Text(const EXCEPTION_RECORD& record) {
  return {reinterpret_cast<const Char*>(record.ExceptionInformation[1]),
          record.ExceptionInformation[0] - 1};
}

LONG CALLBACK TakeMessage(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  std::string text;
  if (record.ExceptionCode == kNarrowMessage) {
    text = Text<char>(record);
  } else if (record.ExceptionCode == kWideMessage) {
    text = Narrow(Text<wchar_t>(record));
  } else {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const std::lock_guard lock(TheCaptured().mutex);
  TheCaptured().lines.push_back({GetCurrentThreadId(), std::move(text)});
  TheCaptured().arrived.notify_all();
  return EXCEPTION_CONTINUE_EXECUTION;
}

auto CountLines(const std::string& text, DWORD except_thread) {
  return std::ranges::count_if(TheCaptured().lines, [&](const Line& line) {
    return line.thread != except_thread && line.text == text;
  });
}

}  // namespace

DebugCapture::DebugCapture() {
  Clear();
  handler_ = AddVectoredExceptionHandler(1, TakeMessage);
  if (handler_ == nullptr) ThrowLastError("AddVectoredExceptionHandler");
}

DebugCapture::~DebugCapture() { RemoveVectoredExceptionHandler(handler_); }

bool DebugCapture::WaitForOthers(const std::string& line, int count) const {
  const DWORD me = GetCurrentThreadId();
  std::unique_lock lock(TheCaptured().mutex);
  return TheCaptured().arrived.wait_for(lock, std::chrono::milliseconds(kPatienceMs),
                                        [&] { return CountLines(line, me) >= count; });
}

int DebugCapture::CountOthers(const std::string& line) const {
  const std::lock_guard lock(TheCaptured().mutex);
  return static_cast<int>(CountLines(line, GetCurrentThreadId()));
}

void DebugCapture::Clear() {
  const std::lock_guard lock(TheCaptured().mutex);
  TheCaptured().lines.clear();
}

std::vector<std::string> DebugCapture::Lines(bool mine) const {
  const DWORD me = GetCurrentThreadId();
  const std::lock_guard lock(TheCaptured().mutex);
  std::vector<std::string> texts;
  for (const Line& line : TheCaptured().lines) {
    if ((line.thread == me) == mine) texts.push_back(line.text);
  }
  return texts;
}

}  // namespace zor::testing
