/// The progress bar at the bottom of a terminal.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace zor::ctl {

/// "[=====>    ] 50% 5/10", with a bar of `width` characters. `total` is not 0.
[[nodiscard]] std::string ProgressBar(std::size_t done, std::size_t total, std::size_t width);

/// Shows nothing unless there is much to do and somewhere to show it.
class ProgressLine {
 public:
  /// `write` takes parts of a line; empty when nobody looks on.
  ProgressLine(std::size_t total, std::function<void(std::string_view)> write);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { Hide(); }

  void Show(std::size_t done);

  /// To be called before anything else is written.
  void Hide();

 private:
  std::size_t total_;
  std::function<void(std::string_view)> write_;
  bool visible_ = false;
};

}  // namespace zor::ctl
