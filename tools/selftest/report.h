/// The two reports of a run: one for a person, one for a program.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tools/selftest/check.h"

namespace zor::selftest {

struct Result {
  const Check* check = nullptr;
  Sighting sighting;
  Verdict verdict = Verdict::kCouldNotLook;
};

struct Run {
  /// What ran where: pairs of a word and its value, in the order of the report.
  std::vector<std::pair<std::string, std::string>> about;
  int limit_seconds = 0;  ///< of each check
  std::vector<Result> results;
};

[[nodiscard]] int CountOf(const Run& run, bool good);

/// One page that needs nothing else.
[[nodiscard]] std::string AsHtml(const Run& run);
[[nodiscard]] std::string AsJson(const Run& run);
/// The checks alone, without a run.
[[nodiscard]] std::string ListAsJson(std::span<const Check> checks);

}  // namespace zor::selftest
