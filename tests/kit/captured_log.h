/// The lines of the debug log, each with the thread that wrote it.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace zor::testing {

class CapturedLog {
 public:
  /// For whoever captures: the calling thread has written `line`.
  void Add(std::string line);

  /// What the calling thread has written: the log of its calls.
  [[nodiscard]] std::vector<std::string> Mine() const { return Lines(true); }
  /// What all other threads have written: the listener's log.
  [[nodiscard]] std::vector<std::string> Others() const { return Lines(false); }

  [[nodiscard]] int CountOthers(const std::string& line) const;
  /// Waits until some other thread has written `line` `count` times, for as long as it keeps doing
  /// so. Throws, saying what was written, when it does not.
  void WaitForOthers(const std::string& line, int count = 1);

  void Clear();

 private:
  struct Line {
    unsigned long thread = 0;
    std::string text;
  };

  [[nodiscard]] std::vector<std::string> Lines(bool mine) const;
  [[nodiscard]] int Count(const std::string& line) const;

  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<Line> lines_;
};

}  // namespace zor::testing
