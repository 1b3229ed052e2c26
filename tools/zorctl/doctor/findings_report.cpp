#include "tools/zorctl/doctor/findings_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "tools/zorctl/printable.h"

namespace zor::ctl {
namespace {

constexpr auto kIndent = "         ";

const char* Mark(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kWarning:
      return "warning";
    case Verdict::kFault:
      return "FAULT";
    case Verdict::kSkipped:
      break;
  }
  return "skipped";
}

const char* Word(Verdict verdict) { return verdict == Verdict::kFault ? "fault" : Mark(verdict); }

std::string Count(const std::vector<Finding>& findings, Verdict verdict, const char* one) {
  const auto count = std::ranges::count(findings, verdict, &Finding::verdict);
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

}  // namespace

std::string ToText(const std::vector<Finding>& findings) {
  std::string text;
  auto out = std::back_inserter(text);
  for (const Finding& finding : findings) {
    fmt::format_to(out, "{:<8} {}: {}\n", Mark(finding.verdict), finding.title,
                   Printable(finding.found));
    if (!finding.wrong.empty()) fmt::format_to(out, "{}{}\n", kIndent, Printable(finding.wrong));
    if (!finding.advice.empty()) {
      fmt::format_to(out, "{}What to do: {}\n", kIndent, finding.advice);
    }
  }
  fmt::format_to(out, "\n{}, {}\n", Count(findings, Verdict::kFault, "fault"),
                 Count(findings, Verdict::kWarning, "warning"));
  return text;
}

Json ToJson(const std::vector<Finding>& findings) {
  Json steps = Json::array();
  for (const Finding& finding : findings) {
    Json step;
    step["step"] = finding.step;
    step["verdict"] = Word(finding.verdict);
    step["found"] = finding.found;
    if (!finding.wrong.empty()) step["wrong"] = finding.wrong;
    if (!finding.advice.empty()) step["advice"] = finding.advice;
    steps.push_back(std::move(step));
  }
  Json json;
  json["healthy"] = IsHealthy(findings);
  json["findings"] = std::move(steps);
  return json;
}

}  // namespace zor::ctl
