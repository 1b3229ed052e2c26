#include "tests/support/text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "tests/support/calls.h"

namespace zor::scripted {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

std::atomic<bool> conversions_fail{false};

/// Takes one character from the front; what is no valid sequence is one replacement a byte.
char32_t Decode(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0x80U ? 1 : first < 0xE0U ? 2 : first < 0xF0U ? 3 : 4;
  char32_t character = length == 1 ? first : first & (0x7FU >> length);
  bool valid = first < 0x80U || (first >= 0xC2U && first < 0xF5U);
  for (std::size_t i = 1; valid && i < length; ++i) {
    const auto next = i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    valid = (next & 0xC0U) == 0x80U;
    character = (character << 6U) | (next & 0x3FU);
  }
  constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  valid = valid && character >= kSmallest[length] && character <= 0x10FFFF &&
          (character < 0xD800 || character > 0xDFFF);
  text.remove_prefix(valid ? length : 1);
  return valid ? character : kReplacement;
}

void Encode(char32_t character, std::string& text) {
  if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) {
    character = kReplacement;
  }
  const int trailing = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr std::array<char32_t, 4> kMarks = {0, 0xC0, 0xE0, 0xF0};
  text +=
      static_cast<char>(kMarks[static_cast<std::size_t>(trailing)] | (character >> (6 * trailing)));
  for (int i = trailing - 1; i >= 0; --i) {
    text += static_cast<char>(0x80U | ((character >> (6 * i)) & 0x3FU));
  }
}

/// As the system hands a text out.
template <typename Char>
int HandOut(const std::basic_string<Char>& text, Char* buffer, int size) {
  if (conversions_fail) return 0;
  const auto needed = static_cast<int>(text.size()) + 1;
  if (size == 0) return needed;
  if (size < needed) return 0;
  *std::copy(text.begin(), text.end(), buffer) = Char{};
  return needed;
}

}  // namespace

void FailConversions(bool fail) { conversions_fail = fail; }

}  // namespace zor::scripted

namespace zor::platform {

int Utf8ToWide(const char* text, wchar_t* buffer, int size) noexcept {
  const scripted::PlatformScope scope;
  if (scripted::TheCalls().Enter(scripted::Function::kUtf8ToWide)) return 0;
  std::wstring wide;
  for (std::string_view rest = text; !rest.empty();) {
    wide += static_cast<wchar_t>(scripted::Decode(rest));
  }
  return scripted::HandOut(wide, buffer, size);
}

int WideToUtf8(const wchar_t* text, char* buffer, int size) noexcept {
  const scripted::PlatformScope scope;
  if (scripted::TheCalls().Enter(scripted::Function::kWideToUtf8)) return 0;
  std::string utf8;
  for (; *text != L'\0'; ++text) scripted::Encode(static_cast<char32_t>(*text), utf8);
  return scripted::HandOut(utf8, buffer, size);
}

}  // namespace zor::platform
