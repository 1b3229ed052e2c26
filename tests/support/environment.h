/// The scripted environment: platform/environment.h.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace zor::scripted {

struct Environment {
  std::map<std::wstring, std::wstring> variables;
  std::size_t buffer_size = 0;  ///< of the last read
};

[[nodiscard]] Environment& TheEnvironment();

}  // namespace zor::scripted
