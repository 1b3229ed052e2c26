#include "tools/zorctl/progress.h"

#include <fmt/core.h>

#include <utility>

namespace zor::ctl {
namespace {

constexpr std::size_t kMuch = 50;
constexpr std::size_t kSteps = 20;
constexpr std::size_t kBarWidth = 40;
constexpr std::size_t kLineWidth = 79;

}  // namespace

std::string ProgressBar(std::size_t done, std::size_t total, std::size_t width) {
  const std::size_t filled = done * width / total;
  std::string bar(filled, '=');
  if (filled < width) bar += '>';
  bar.resize(width, ' ');
  return fmt::format("[{}] {:3}% {}/{}", bar, done * 100 / total, done, total);
}

ProgressLine::ProgressLine(std::size_t total, std::function<void(std::string_view)> write,
                           Kind kind)
    : total_(total), write_(total < kMuch ? nullptr : std::move(write)), kind_(kind) {}

void ProgressLine::Show(std::size_t done) {
  if (!write_) return;
  if (kind_ == Kind::kLines) {
    const bool new_step = done * kSteps / total_ != (done - 1) * kSteps / total_;
    if (new_step) write_(fmt::format("{}% {}/{}", done * 100 / total_, done, total_));
    return;
  }
  write_('\r' + ProgressBar(done, total_, kBarWidth));
  visible_ = true;
}

void ProgressLine::Hide() {
  if (!visible_) return;
  write_('\r' + std::string(kLineWidth, ' ') + '\r');
  visible_ = false;
}

}  // namespace zor::ctl
