#include "tests/support/output.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <utility>

#include "platform/debug_output.h"
#include "tests/support/calls.h"

namespace zor::scripted {

Output& TheOutput() {
  static Output output;
  return output;
}

void Output::Reset() {
  const std::lock_guard lock(mutex_);
  narrow_.clear();
  wide_.clear();
  formattings_.clear();
  invalid_parameters_ = 0;
  forward_ = nullptr;
}

std::vector<std::string> Output::TakeNarrow() {
  const std::lock_guard lock(mutex_);
  return std::exchange(narrow_, {});
}

std::vector<std::wstring> Output::TakeWide() {
  const std::lock_guard lock(mutex_);
  return std::exchange(wide_, {});
}

std::vector<Formatting> Output::TakeFormattings() {
  const std::lock_guard lock(mutex_);
  return std::exchange(formattings_, {});
}

int Output::InvalidParameterCount() const {
  const std::lock_guard lock(mutex_);
  return invalid_parameters_;
}

void Output::Forward(std::function<void(std::string)> to) {
  const std::lock_guard lock(mutex_);
  forward_ = std::move(to);
}

void Output::Write(std::string message) {
  const std::lock_guard lock(mutex_);
  if (forward_) forward_(message);
  narrow_.push_back(std::move(message));
}

void Output::Write(std::wstring message) {
  const std::lock_guard lock(mutex_);
  // The library's wide texts are ASCII.
  if (forward_) forward_(std::string(message.begin(), message.end()));
  wide_.push_back(std::move(message));
}

bool Output::Format(Formatting formatting) {
  const std::lock_guard lock(mutex_);
  formattings_.push_back(formatting);
  if (formatting.size == 0) ++invalid_parameters_;
  return formatting.size != 0;
}

namespace {

thread_local int last_measured = 0;

/// In a wide format of Windows "%s" is a wide string and "%hs" a narrow one.
std::wstring ToNativeFormat(const wchar_t* format) {
  std::wstring native;
  while (*format != L'\0') {
    native += *format;
    if (*format++ != L'%') continue;
    while (*format != L'\0' && std::wcschr(L"-+ #0123456789.*", *format) != nullptr) {
      native += *format++;
    }
    if (*format == L's') native += L'l';
    if (*format == L'h' && format[1] == L's') ++format;
    if (*format != L'\0') native += *format++;
  }
  return native;
}

/// The whole formatted text; the native formatter has no way to measure it.
std::wstring FormatWide(const wchar_t* format, std::va_list arguments) {
  const std::wstring native = ToNativeFormat(format);
  for (std::wstring text(256, L'\0');; text.resize(text.size() * 2)) {
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = std::vswprintf(text.data(), text.size(), native.c_str(), copy);
    va_end(copy);
    if (length < 0) continue;
    text.resize(static_cast<std::size_t>(length));
    return text;
  }
}

int Measured(int length) {
  last_measured = TheCalls().Enter(Function::kFormattedLength) ? -1 : length;
  return last_measured;
}

}  // namespace
}  // namespace zor::scripted

namespace zor::platform {

using scripted::Function;
using scripted::PlatformScope;
using scripted::TheCalls;
using scripted::TheOutput;

int FormattedLength(const char* format, std::va_list arguments) noexcept {
  const PlatformScope scope;
  return scripted::Measured(std::vsnprintf(nullptr, 0, format, arguments));
}

int FormattedLength(const wchar_t* format, std::va_list arguments) noexcept {
  const PlatformScope scope;
  return scripted::Measured(static_cast<int>(scripted::FormatWide(format, arguments).size()));
}

void Format(char* buffer, std::size_t size, const char* format, std::va_list arguments) noexcept {
  const PlatformScope scope;
  static_cast<void>(TheCalls().Enter(Function::kFormat));
  if (!TheOutput().Format({.measured = scripted::last_measured, .size = size})) return;
  std::vsnprintf(buffer, size, format, arguments);
}

void Format(wchar_t* buffer, std::size_t size, const wchar_t* format,
            std::va_list arguments) noexcept {
  const PlatformScope scope;
  static_cast<void>(TheCalls().Enter(Function::kFormat));
  if (!TheOutput().Format({.wide = true, .measured = scripted::last_measured, .size = size})) {
    return;
  }
  const std::wstring text = scripted::FormatWide(format, arguments).substr(0, size - 1);
  *std::copy(text.begin(), text.end(), buffer) = L'\0';
}

void DebugOutput(const char* text) noexcept {
  const PlatformScope scope;
  static_cast<void>(TheCalls().Enter(Function::kDebugOutput));
  TheCalls().Record(Function::kDebugOutput, "DebugOutput ", text);
  TheOutput().Write(std::string(text));
}

void DebugOutput(const wchar_t* text) noexcept {
  const PlatformScope scope;
  static_cast<void>(TheCalls().Enter(Function::kDebugOutput));
  TheCalls().Record(Function::kDebugOutput, "DebugOutput wide");
  TheOutput().Write(std::wstring(text));
}

}  // namespace zor::platform
