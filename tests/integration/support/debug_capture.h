/// Capturing what this process writes to the debugger output.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/kit/captured_log.h"

namespace zor::testing {

/// Every message that this process writes while the object lives, one line per call. The one object
/// at a time is seen by all threads.
class DebugCapture {
 public:
  DebugCapture();
  DebugCapture(const DebugCapture&) = delete;
  DebugCapture& operator=(const DebugCapture&) = delete;
  ~DebugCapture();

  [[nodiscard]] std::vector<std::string> Mine() const { return Log().Mine(); }
  [[nodiscard]] std::vector<std::string> Others() const { return Log().Others(); }
  void WaitForOthers(const std::string& line, int count = 1) const {
    Log().WaitForOthers(line, count);
  }
  static void Clear() { Log().Clear(); }

  [[nodiscard]] static CapturedLog& Log();

 private:
  void* handler_;
};

}  // namespace zor::testing
