/// The progress bar at the bottom of a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zor::ctl {

/// "[=====>    ] 50% 5/10", with a bar of `width` characters. `total` is not 0.
[[nodiscard]] std::string ProgressBar(std::size_t done, std::size_t total, std::size_t width);

/// Shows nothing unless there is much to do and somewhere to show it.
class ProgressLine {
 public:
  /// A bar that is written over on a terminal, or a line for each twentieth in a file.
  enum class Kind : std::uint8_t { kBar, kLines };

  /// `write` takes parts of a line, of kLines whole ones; empty when nobody looks on.
  ProgressLine(std::size_t total, std::function<void(std::string_view)> write,
               Kind kind = Kind::kBar);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { Hide(); }

  void Show(std::size_t done);

  /// To be called before anything else is written.
  void Hide();

 private:
  std::size_t total_;
  std::function<void(std::string_view)> write_;
  Kind kind_;
  bool visible_ = false;
};

}  // namespace zor::ctl
