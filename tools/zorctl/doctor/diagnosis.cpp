#include "tools/zorctl/doctor/diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>

#include "discovery/merge.h"
#include "discovery/text.h"
#include "tools/zorctl/doctor/step.h"

namespace zor::ctl {
namespace {

using fmt::format;

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::any_of(names, [&](const std::string& other) {
    return EqualIgnoringCase(other.c_str(), name.c_str());
  });
}

/// The algorithms whose libraries are here, but do not answer.
std::vector<std::string> FailedNames(const MachineFacts& machine) {
  std::vector<std::string> names;
  for (const AlgorithmLibraryFacts& library : machine.contents->libraries) {
    if (library.end.ok() && !library.query.failed) continue;
    names.insert(names.end(), library.stands_for.begin(), library.stands_for.end());
  }
  return names;
}

/// What an application cannot use though the server offers it, or though it is installed.
void CompareLists(const std::vector<std::string>& server, const MachineFacts& machine,
                  Findings& findings) {
  const std::vector<std::string> local = machine.LocalNames();
  AlgorithmIdTable table;
  const std::vector<std::string_view> sent(server.begin(), server.end());
  const auto length =
      MergeAlgorithms(table, sent, static_cast<std::uint32_t>(server.size()), local);
  for (const AlgorithmIdEntry& row : table) {
    if (!Contains(local, row.name) && Contains(FailedNames(machine), row.name)) {
      findings.push_back(kMerged.Consequence(
          format("{} is in the server's list, but its library does not answer here", row.name),
          kAlgorithm));
    } else if (!Contains(local, row.name)) {
      findings.push_back(kMerged.Fault(
          format("{} is in the server's list, but no library of it answers here", row.name),
          row.app_id < 0 ? "It cannot be used on this machine."
                         : "It is shown all the same, because the two lists are equally long.",
          "Install the driver package that has it."));
    } else if (row.app_id >= 0 && static_cast<std::uint32_t>(row.app_id) >= length) {
      findings.push_back(kMerged.Warning(
          format("{} has the id {}, but the list has {} places", row.name, row.app_id, length),
          "It is not shown; its id can be used all the same.",
          "Install the driver package that has all of the server's algorithms."));
    }
  }
  for (const std::string& name : local) {
    if (Contains(server, name)) continue;
    findings.push_back(kMerged.Warning(
        format("{} is installed here, but not in the server's list", name),
        "It cannot be used with this server.", "Use a server and a driver of the same release."));
  }
}

/// Why the merged list is not asked for, or fails: what was found before.
std::optional<Step> CauseOfNoMerge(const Facts& facts) {
  if (!IsUsable(facts.library)) return kLibrary;
  if (!CanAskServer(facts)) return kRequest;
  if (!IsSound(facts.server.information)) return kServer;
  if (!IsSound(facts.server.list)) return kServerList;
  const MachineFacts& machine = facts.machine;
  if (!machine.driver.end.ok()) return kDriver;
  if (AnyEndsTheProcess(machine)) return kAlgorithm;
  if (machine.driver.version) return CauseOfNoSearch(machine);
  // A version that is no version ends the search, a driver that was not found does not.
  if (!machine.driver.failed && !machine.driver.version_text.empty()) return kDriver;
  if (machine.contents && !machine.contents->error.empty()) return kAlgorithm;
  return std::nullopt;
}

}  // namespace

Findings DiagnoseMergedList(const Facts& facts) {
  const auto cause = CauseOfNoMerge(facts);
  const auto& merged = facts.server.merged;
  if (!merged) {
    return {kMerged.Consequence("not asked for", cause.value_or(kServer))};
  }
  if (!Succeeded(*merged)) {
    Finding finding = DiagnoseCall(kMerged, "ZorIntfEnum(2)", *merged);
    if (cause) {
      finding.verdict = Verdict::kConsequence;
      finding.because = cause->title;
      finding.wrong.clear();
      finding.advice.clear();
    }
    return {finding};
  }
  std::vector<std::string> shown;
  for (const auto& name : merged->names) shown.push_back(name.value_or("(not present here)"));

  Findings findings;
  if (!facts.machine.contents || facts.machine.LocalNames().empty()) {
    findings.push_back(kMerged.Ok(
        format("{}: the server's list as it is, because no algorithm is known to be here",
               ToText(shown))));
    return findings;
  }
  findings.push_back(kMerged.Ok(ToText(shown)));
  CompareLists(facts.server.list->names, facts.machine, findings);
  return findings;
}

Findings Diagnose(const Facts& facts) {
  Findings findings;
  const auto add = [&](Findings more) {
    findings.insert(findings.end(), std::make_move_iterator(more.begin()),
                    std::make_move_iterator(more.end()));
  };
  add(DiagnoseProcess(facts));
  add(DiagnoseLibrary(facts));
  add(DiagnoseRequestPipe(facts));
  add(DiagnoseNotifyPipe(facts));
  add(DiagnoseServer(facts));
  add(DiagnoseDriver(facts));
  add(DiagnoseStore(facts));
  add(DiagnosePackage(facts));
  if (facts.machine.contents) {
    for (const auto& library : facts.machine.contents->libraries) add({DiagnoseAlgorithm(library)});
  }
  add(DiagnoseAlgorithms(facts));
  add(DiagnoseServerList(facts));
  add(DiagnoseMergedList(facts));
  return findings;
}

bool CanMerge(const Facts& facts) {
  return IsUsable(facts.library) && CanAskServer(facts) && IsSound(facts.server.information) &&
         IsSound(facts.server.list) && facts.machine.driver.end.ok() &&
         facts.machine.store.end.ok() && !AnyEndsTheProcess(facts.machine);
}

bool IsHealthy(const Findings& findings) {
  return std::ranges::none_of(
      findings, [](const Finding& finding) { return finding.verdict == Verdict::kFault; });
}

}  // namespace zor::ctl
