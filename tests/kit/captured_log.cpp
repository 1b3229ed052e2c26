#include "tests/kit/captured_log.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tests/kit/patience.h"
#include "tests/kit/system.h"

namespace zor::testing {

void CapturedLog::Add(std::string line) {
  const std::lock_guard lock(mutex_);
  lines_.push_back({CurrentThread(), std::move(line)});
  arrived_.notify_all();
}

int CapturedLog::Count(const std::string& line) const {
  const unsigned long me = CurrentThread();
  return static_cast<int>(std::ranges::count_if(
      lines_, [&](const Line& one) { return one.thread != me && one.text == line; }));
}

int CapturedLog::CountOthers(const std::string& line) const {
  const std::lock_guard lock(mutex_);
  return Count(line);
}

void CapturedLog::WaitForOthers(const std::string& line, int count) {
  std::unique_lock lock(mutex_);
  const auto arrived = [&] { return Count(line); };
  if (WaitWhileGrowing(arrived_, lock, arrived, count)) return;
  std::string problem = "waited for " + std::to_string(count) + " lines \"" + line + "\"; " +
                        std::to_string(arrived()) + " have arrived";
  if (!lines_.empty()) problem += ", and the last line is \"" + lines_.back().text + '"';
  throw std::runtime_error(problem);
}

void CapturedLog::Clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}

std::vector<std::string> CapturedLog::Lines(bool mine) const {
  const unsigned long me = CurrentThread();
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (const Line& line : lines_) {
    if ((line.thread == me) == mine) texts.push_back(line.text);
  }
  return texts;
}

}  // namespace zor::testing
