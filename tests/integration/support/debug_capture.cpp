#include "tests/integration/support/debug_capture.h"

#include <string>
#include <string_view>
#include <utility>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

// Each message reaches the process as one exception before it goes anywhere else: narrow ones and
// Wine's wide ones as the first, wide ones of Windows 10 and later as the second.
constexpr DWORD kNarrowMessage = 0x40010006;
constexpr DWORD kWideMessage = 0x4001000A;

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
  DebugCapture::Log().Add(std::move(text));
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DebugCapture::DebugCapture() {
  Clear();
  handler_ = AddVectoredExceptionHandler(1, TakeMessage);
  if (handler_ == nullptr) ThrowLastError("AddVectoredExceptionHandler");
}

DebugCapture::~DebugCapture() { RemoveVectoredExceptionHandler(handler_); }

// Outlives every capture: a handler may still be running when its capture ends.
CapturedLog& DebugCapture::Log() {
  static CapturedLog log;
  return log;
}

}  // namespace zor::testing
