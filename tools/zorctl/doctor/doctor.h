/// Looking at the whole chain.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tools/zorctl/doctor/diagnosis.h"

namespace zor::ctl {

/// Who is told of the examination as it goes on.
struct Onlooker {
  std::function<void(const std::string& doing)> begin;  ///< before each step
  std::function<void(const Finding& finding)> found;    ///< as soon as it is found
};

/// How long the looks may take; by default all of them end within a minute.
struct Limits {
  std::chrono::milliseconds short_look{5'000};
  std::chrono::milliseconds long_look{
      10'000};  ///< one that asks the management service, or searches
  std::chrono::milliseconds total{52'000};
};

/// Creates no instance and changes nothing at the server. Looks at everything that may hang or
/// crash in a process of its own, this program started anew, and comes to its end in its time.
Facts Examine(const Onlooker& onlooker, const Limits& limits = {});

/// The part of it that looks for the driver and its algorithm libraries.
[[nodiscard]] MachineFacts ExamineThisMachine();

}  // namespace zor::ctl
