/// What this process writes to the debugger output.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/selftest/handle.h"

namespace zor::selftest {

struct DebugLine {
  DWORD code = 0;    ///< the exception that brought it
  DWORD thread = 0;  ///< who wrote it
  std::string text;  ///< without its line feed
};

/// While it lives, takes every line before it goes anywhere else. One at a time.
class DebugLines {
 public:
  DebugLines();
  DebugLines(const DebugLines&) = delete;
  DebugLines& operator=(const DebugLines&) = delete;
  ~DebugLines();

  [[nodiscard]] std::vector<DebugLine> Taken() const;

 private:
  void* handler_;
};

}  // namespace zor::selftest
