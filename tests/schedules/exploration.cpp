#include "tests/schedules/exploration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace zor::schedules {

Exploration::Exploration(int forced_switches) : forced_switches_(forced_switches) {}

Exploration::Exploration(const std::string& name) : forced_switches_(0) {
  std::istringstream text(name == "-" ? "" : name);
  std::size_t number = 0;
  std::size_t taken = 0;
  char separator = 0;
  while (text >> number >> separator >> taken) {
    choices_.resize(number + 1);
    choices_[number].taken = taken;
    text >> separator;
  }
}

std::size_t Exploration::Choose(std::size_t count, std::size_t unforced) {
  if (position_ == choices_.size()) choices_.push_back({count, unforced, 0});
  Choice& choice = choices_[position_++];
  if (choice.count == 0) {  // of a schedule that was named
    choice.count = count;
    choice.unforced = unforced;
  }
  EXPECT_EQ(choice.count, count) << "the run is not the same again";
  return std::min(choice.taken, count - 1);
}

bool Exploration::Next() {
  const auto is_forced = [](const Choice& choice) { return choice.taken >= choice.unforced; };
  auto forced = std::count_if(choices_.begin(), choices_.end(), is_forced);
  position_ = 0;
  while (!choices_.empty()) {
    Choice& last = choices_.back();
    if (is_forced(last)) --forced;
    ++last.taken;
    if (last.taken < last.count && (!is_forced(last) || forced < forced_switches_)) return true;
    choices_.pop_back();
  }
  return false;
}

std::string Exploration::name() const {
  std::string text;
  for (std::size_t i = 0; i < choices_.size(); ++i) {
    if (choices_[i].taken == 0) continue;
    text += (text.empty() ? "" : ",") + std::to_string(i) + ":" + std::to_string(choices_[i].taken);
  }
  return text.empty() ? "-" : text;
}

}  // namespace zor::schedules
