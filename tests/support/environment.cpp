#include "tests/support/environment.h"

#include <algorithm>

#include "platform/environment.h"
#include "tests/support/calls.h"

namespace zor::scripted {

Environment& TheEnvironment() {
  static Environment environment;
  return environment;
}

}  // namespace zor::scripted

namespace zor::platform {

std::uint32_t GetEnvironment(const wchar_t* name, std::span<wchar_t> buffer) noexcept {
  const scripted::PlatformScope scope;
  auto& environment = scripted::TheEnvironment();
  environment.buffer_size = buffer.size();
  if (scripted::TheCalls().Enter(scripted::Function::kGetEnvironment)) return 0;
  const auto variable = environment.variables.find(name);
  if (variable == environment.variables.end()) return 0;

  const std::wstring& value = variable->second;
  if (value.size() >= buffer.size()) return static_cast<std::uint32_t>(value.size() + 1);
  *std::copy(value.begin(), value.end(), buffer.begin()) = L'\0';
  return static_cast<std::uint32_t>(value.size());
}

}  // namespace zor::platform
