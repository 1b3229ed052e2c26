#include "tools/zorctl/progress_line.h"

#include <string>

#include "tools/zorctl/console.h"
#include "tools/zorctl/progress.h"

namespace zor::ctl {
namespace {

constexpr std::size_t kMuch = 50;
constexpr std::size_t kBarWidth = 40;
constexpr std::size_t kLineWidth = 79;

}  // namespace

ProgressLine::ProgressLine(std::size_t total)
    : total_(total), enabled_(total >= kMuch && IsTerminal()) {}

void ProgressLine::Show(std::size_t done) {
  if (!enabled_) return;
  SayRaw('\r' + ProgressBar(done, total_, kBarWidth));
  visible_ = true;
}

void ProgressLine::Hide() {
  if (!visible_) return;
  SayRaw('\r' + std::string(kLineWidth, ' ') + '\r');
  visible_ = false;
}

}  // namespace zor::ctl
