#include "tools/zorctl/own_log.h"

#include <windows.h>

#include <mutex>
#include <string_view>
#include <utility>

#include "discovery/text.h"

namespace zor::ctl {
namespace {

// Each message reaches the process as one exception before it goes anywhere else: narrow ones, and
// Wine's wide ones, as the first, wide ones of Windows 10 and later as the second.
constexpr DWORD kNarrowMessage = 0x40010006;
constexpr DWORD kWideMessage = 0x4001000A;

// Outlive every object: the handler may still be running on another thread.
std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}
OwnLog::Take& Taker() {
  static OwnLog::Take take;
  return take;
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
    text = ToUtf8(std::wstring(Text<wchar_t>(record)));
  }
  if (!text.starts_with("[zor] ")) return EXCEPTION_CONTINUE_SEARCH;
  text.erase(text.find_last_not_of("\r\n") + 1);
  const std::lock_guard lock(Lock());
  if (Taker()) Taker()(text);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

OwnLog::OwnLog(Take take) {
  {
    const std::lock_guard lock(Lock());
    Taker() = std::move(take);
  }
  handler_ = AddVectoredExceptionHandler(1, TakeMessage);
}

OwnLog::~OwnLog() {
  RemoveVectoredExceptionHandler(handler_);
  const std::lock_guard lock(Lock());
  Taker() = nullptr;
}

}  // namespace zor::ctl
