#include "tests/hostile/support/log_hook.h"

#include <string_view>
#include <utility>

#include "tests/integration/support/handle.h"

namespace zor::hostile {
namespace {

// A line of the narrow log reaches the process as this exception before it goes anywhere else.
constexpr DWORD kNarrowMessage = 0x40010006;

struct Hook {
  std::string line;
  std::function<void()> then;
};

Hook& TheHook() {
  static Hook hook;
  return hook;
}

LONG CALLBACK OnMessage(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kNarrowMessage) return EXCEPTION_CONTINUE_SEARCH;
  // The length counts the terminator.
  const std::string_view text(reinterpret_cast<const char*>(record.ExceptionInformation[1]),
                              record.ExceptionInformation[0] - 1);
  if (text == TheHook().line) TheHook().then();
  // Others may want the line, too.
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

LogHook::LogHook(std::string line, std::function<void()> then) {
  TheHook() = {std::move(line), std::move(then)};
  handler_ = AddVectoredExceptionHandler(1, OnMessage);
  if (handler_ == nullptr) testing::ThrowLastError("AddVectoredExceptionHandler");
}

LogHook::~LogHook() { RemoveVectoredExceptionHandler(handler_); }

}  // namespace zor::hostile
