#include "tools/zorctl/system_text.h"

#include <windows.h>

#include <array>

#include "discovery/text.h"

namespace zor::ctl {
namespace {

/// The management service's own results, for which the system has no words.
const char* ManagementText(std::uint32_t result) {
  switch (result) {
    case 0x80041001:
      return "the management service failed";
    case 0x80041003:
      return "the management service refuses access";
    case 0x8004100E:
      return "the management service does not know the namespace";
    case 0x80041010:
      return "the management service does not know the class";
    case 0x80041033:
      return "the management service is shutting down";
    default:
      return "";
  }
}

}  // namespace

std::string SystemText(std::uint32_t error) {
  std::array<wchar_t, 512> text{};
  const DWORD size = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
  std::string words = size == 0 ? ManagementText(error) : ToUtf8({text.data(), size});
  words.erase(words.find_last_not_of(" .\r\n") + 1);
  return words;
}

}  // namespace zor::ctl
