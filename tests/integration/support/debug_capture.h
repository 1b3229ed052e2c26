/// Capturing what this process writes to the debugger output.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zor::testing {

/// Every message that this process writes while the object lives, one element per call. The one
/// object at a time is seen by all threads.
class DebugCapture {
 public:
  DebugCapture();
  DebugCapture(const DebugCapture&) = delete;
  DebugCapture& operator=(const DebugCapture&) = delete;
  ~DebugCapture();

  /// What the calling thread has written: the log of its calls.
  [[nodiscard]] std::vector<std::string> Mine() const { return Lines(true); }
  /// What all other threads have written: the listener's log.
  [[nodiscard]] std::vector<std::string> Others() const { return Lines(false); }

  /// Waits until some other thread has written `line` `count` times.
  [[nodiscard]] bool WaitForOthers(const std::string& line, int count = 1) const;
  [[nodiscard]] int CountOthers(const std::string& line) const;

  static void Clear();

 private:
  [[nodiscard]] std::vector<std::string> Lines(bool mine) const;

  void* handler_;
};

}  // namespace zor::testing
