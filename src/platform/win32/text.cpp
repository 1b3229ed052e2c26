#include "platform/text.h"

#include <windows.h>

namespace zor::platform {

int Utf8ToWide(const char* text, wchar_t* buffer, int size) noexcept {
  return MultiByteToWideChar(CP_UTF8, 0, text, -1, buffer, size);
}

int WideToUtf8(const wchar_t* text, char* buffer, int size) noexcept {
  return WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, size, nullptr, nullptr);
}

}  // namespace zor::platform
