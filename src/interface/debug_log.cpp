#include "interface/debug_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string_view>

#include "platform/debug_output.h"
#include "platform/heap.h"

namespace zor {
namespace {

struct HeapDelete {
  void operator()(void* block) const noexcept { platform::HeapFree(block); }
};

// Of the C heap. Even the form of `new` that returns null throws and catches inside the runtime; a
// thread's first exception allocates, and without memory it ends the process.
template <typename Char>
std::unique_ptr<Char[], HeapDelete> Allocate(std::size_t count) noexcept {
  return std::unique_ptr<Char[], HeapDelete>(
      static_cast<Char*>(platform::HeapAllocate(count * sizeof(Char))));
}

template <typename Char>
void Write(std::basic_string_view<Char> prefix, std::basic_string_view<Char> format,
           std::va_list arguments) noexcept {
  // The prefix is joined to the format, not to the output.
  const auto combined = Allocate<Char>(prefix.size() + format.size() + 1);
  if (combined == nullptr) return;
  Char* end = std::copy(prefix.begin(), prefix.end(), combined.get());
  end = std::copy(format.begin(), format.end(), end);
  *end = Char{};

  std::va_list measured;
  va_copy(measured, arguments);
  const int length = platform::FormattedLength(combined.get(), measured);
  va_end(measured);

  // An encoding error gives a size of 0, for which the formatter calls the runtime's
  // invalid-parameter handler, as it is meant to. Where that handler returns there is no text.
  const auto size = static_cast<std::size_t>(std::max(length, -1) + 1);
  const auto line = Allocate<Char>(size);
  if (line == nullptr) return;
  platform::Format(line.get(), size, combined.get(), arguments);
  if (size != 0) platform::DebugOutput(line.get());
}

}  // namespace

void Log(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  Write<char>("[zor] ", format, arguments);
  va_end(arguments);
}

void Log(const wchar_t* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  Write<wchar_t>(L"[zor] ", format, arguments);
  va_end(arguments);
}

}  // namespace zor
