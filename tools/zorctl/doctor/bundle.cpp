#include "tools/zorctl/doctor/bundle.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "tools/zorctl/doctor/findings_report.h"

namespace zor::ctl {
namespace {

bool SameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::string Report(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings) text += ToText(finding);
  return text + Summary(findings);
}

std::string Versions(const Facts& facts) {
  std::string text = fmt::format("zorctl {}\n", ZOR_VERSION);
  text += fmt::format("ZorInterface.dll {}\n",
                      facts.library.version.empty() ? "not loaded" : facts.library.version);
  if (facts.process) text += fmt::format("{}\n", facts.process->system);
  text += fmt::format("driver {}\n", facts.machine.driver.version_text.empty()
                                         ? "not known"
                                         : facts.machine.driver.version_text);
  return text;
}

std::string InfLines(const Facts& facts) {
  std::string text;
  for (const CandidateFacts& candidate : facts.machine.candidates) {
    text += fmt::format(
        "{}: {}\n", candidate.folder,
        candidate.version_line.empty() ? "no line with a version" : candidate.version_line);
  }
  return text.empty() ? "no package of the product in the driver store\n" : text;
}

void AddLines(const char* call, const std::optional<CallFacts>& made, std::string& text) {
  if (!made) return;
  for (const std::string& line : made->lines) text += fmt::format("{}: {}\n", call, line);
}

std::string LogLines(const Facts& facts) {
  std::string text;
  AddLines("ZorIntfGetInfo", facts.server.information_call, text);
  AddLines("ZorIntfEnum", facts.server.list_call, text);
  AddLines("ZorIntfEnum(2)", facts.server.merged, text);
  return text.empty() ? "no call was made\n" : text;
}

}  // namespace

std::string WithoutPersonal(std::string text, const PersonalTexts& personal) {
  for (const auto& [name, stand_in] : personal) {
    if (name.empty()) continue;
    auto at = text.begin();
    while ((at = std::search(at, text.end(), name.begin(), name.end(), SameLetter)) != text.end()) {
      const auto offset = at - text.begin();
      text.replace(at, at + static_cast<std::ptrdiff_t>(name.size()), stand_in);
      at = text.begin() + offset + static_cast<std::ptrdiff_t>(stand_in.size());
    }
  }
  return text;
}

std::vector<ZipEntry> MakeBundle(const Findings& findings, const Facts& facts,
                                 const PersonalTexts& personal) {
  // Before they become JSON, which would double the backslashes of a path.
  Findings shown = findings;
  for (Finding& finding : shown) {
    finding.found = WithoutPersonal(finding.found, personal);
    finding.wrong = WithoutPersonal(finding.wrong, personal);
    finding.advice = WithoutPersonal(finding.advice, personal);
    for (std::string& line : finding.lines) line = WithoutPersonal(line, personal);
  }
  return {{"report.txt", Report(shown)},
          {"report.json", ToDocument(ToJson(shown))},
          {"versions.txt", Versions(facts)},
          {"inf.txt", WithoutPersonal(InfLines(facts), personal)},
          {"log.txt", WithoutPersonal(LogLines(facts), personal)}};
}

}  // namespace zor::ctl
