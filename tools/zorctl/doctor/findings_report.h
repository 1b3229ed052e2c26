/// Saying what doctor found.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/report.h"

namespace zor::ctl {

/// How a text is shown: as it is for a file, else as its terminal can.
struct Look {
  std::size_t width = 0;  ///< of the terminal; 0: lines are as long as they are
  bool colour = false;
};

/// A line for the finding, what is wrong and what to do below it; its own lines of the library.
[[nodiscard]] std::string ToText(const Finding& finding, const Look& look = {});

/// How many faults and warnings there are, and the first thing to do.
[[nodiscard]] std::string Summary(const Findings& findings, const Look& look = {});

[[nodiscard]] Json ToJson(const Findings& findings);

/// Breaks a text at blanks so that it fits; the lines behind the first begin with `indent` blanks.
/// A word that is longer than a line gets one of its own.
[[nodiscard]] std::string Wrap(std::string_view text, std::size_t width, std::size_t indent);

}  // namespace zor::ctl
