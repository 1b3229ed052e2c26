/// The progress bar at the bottom of a terminal.
#pragma once

#include <cstddef>

namespace zor::ctl {

/// Shows nothing unless a person looks on and there is much to do.
class ProgressLine {
 public:
  explicit ProgressLine(std::size_t total);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { Hide(); }

  void Show(std::size_t done);

  /// To be called before anything else is written.
  void Hide();

 private:
  std::size_t total_;
  bool enabled_;
  bool visible_ = false;
};

}  // namespace zor::ctl
