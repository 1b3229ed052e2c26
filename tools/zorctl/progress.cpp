#include "tools/zorctl/progress.h"

#include <fmt/core.h>

namespace zor::ctl {

std::string ProgressBar(std::size_t done, std::size_t total, std::size_t width) {
  const std::size_t filled = done * width / total;
  std::string bar(filled, '=');
  if (filled < width) bar += '>';
  bar.resize(width, ' ');
  return fmt::format("[{}] {:3}% {}/{}", bar, done * 100 / total, done, total);
}

}  // namespace zor::ctl
