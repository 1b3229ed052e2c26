#include "tools/zorctl/doctor/findings_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/zorctl/printable.h"

namespace zor::ctl {
namespace {

constexpr std::size_t kIndent = 9;

const char* Mark(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kWarning:
      return "warning";
    case Verdict::kFault:
      return "FAULT";
    case Verdict::kConsequence:
      return "follows";
    case Verdict::kSkipped:
      break;
  }
  return "skipped";
}

const char* Word(Verdict verdict) {
  if (verdict == Verdict::kFault) return "fault";
  return verdict == Verdict::kConsequence ? "consequence" : Mark(verdict);
}

const char* Colour(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "\x1B[32m";
    case Verdict::kWarning:
      return "\x1B[33m";
    case Verdict::kFault:
      return "\x1B[1;31m";
    default:
      return "\x1B[90m";
  }
}

std::string Coloured(std::string text, Verdict verdict, const Look& look) {
  return look.colour ? Colour(verdict) + text + "\x1B[0m" : text;
}

std::string Below(std::string_view text, const Look& look) {
  return std::string(kIndent, ' ') + Wrap(text, look.width, kIndent) + '\n';
}

std::string Count(const Findings& findings, Verdict verdict, const char* one) {
  const auto count = std::ranges::count(findings, verdict, &Finding::verdict);
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

/// In characters, not in bytes.
std::size_t Width(std::string_view utf8) {
  return static_cast<std::size_t>(std::ranges::count_if(
      utf8, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

}  // namespace

std::string Wrap(std::string_view text, std::size_t width, std::size_t indent) {
  if (width == 0) return std::string(text);
  std::string wrapped;
  std::size_t column = indent;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    const bool first = column == indent;
    if (!first && column + 1 + Width(word) >= width) {
      wrapped += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      wrapped += ' ';
      ++column;
    }
    wrapped += word;
    column += Width(word);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return wrapped;
}

std::string ToText(const Finding& finding, const Look& look) {
  const std::string mark = fmt::format("{:<8}", Mark(finding.verdict));
  std::string found = fmt::format("{}: {}", finding.title, Printable(finding.found));
  if (!finding.because.empty()) found += fmt::format(" (because of: {})", finding.because);
  std::string text =
      Coloured(mark, finding.verdict, look) + ' ' + Wrap(found, look.width, kIndent) + '\n';
  if (!finding.wrong.empty()) text += Below(Printable(finding.wrong), look);
  if (!finding.advice.empty()) text += Below("What to do: " + Printable(finding.advice), look);
  for (const std::string& line : finding.lines) text += Below(Printable(line), look);
  return text;
}

std::string Summary(const Findings& findings, const Look& look) {
  std::string text = fmt::format("\n{}, {}\n", Count(findings, Verdict::kFault, "fault"),
                                 Count(findings, Verdict::kWarning, "warning"));
  const auto first = std::ranges::find(findings, Verdict::kFault, &Finding::verdict);
  if (first == findings.end()) return text;
  return text +
         Wrap(fmt::format("First: {}: {}", first->title, Printable(first->advice)), look.width, 0) +
         '\n';
}

Json ToJson(const Findings& findings) {
  Json steps = Json::array();
  for (const Finding& finding : findings) {
    Json step;
    step["step"] = finding.step;
    step["verdict"] = Word(finding.verdict);
    step["found"] = finding.found;
    if (!finding.wrong.empty()) step["wrong"] = finding.wrong;
    if (!finding.advice.empty()) step["advice"] = finding.advice;
    if (!finding.because.empty()) step["because"] = finding.because;
    if (!finding.lines.empty()) step["log"] = finding.lines;
    steps.push_back(std::move(step));
  }
  Json json;
  json["healthy"] = IsHealthy(findings);
  json["findings"] = std::move(steps);
  return json;
}

}  // namespace zor::ctl
