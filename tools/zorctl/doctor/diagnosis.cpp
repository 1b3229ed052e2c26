#include "tools/zorctl/doctor/diagnosis.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "discovery/merge.h"
#include "discovery/text.h"
#include "tools/zorctl/command.h"
#include "tools/zorctl/explain.h"

namespace zor::ctl {
namespace {

using fmt::format;
using Findings = std::vector<Finding>;

constexpr auto kHardwareId = R"(SWC\VEN_ZOR&CID_APO)";
constexpr auto kReinstall = "Install the audio driver package again.";
constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kModuleNotFound = 126;
constexpr std::uint32_t kBadImage = 193;

/// What every finding of a step begins with.
struct Step {
  const char* name;
  const char* title;

  [[nodiscard]] Finding Ok(std::string found) const {
    return {name, title, Verdict::kOk, std::move(found), {}, {}};
  }
  [[nodiscard]] Finding Skipped(std::string why) const {
    return {name, title, Verdict::kSkipped, std::move(why), {}, {}};
  }
  [[nodiscard]] Finding Warning(std::string found, std::string wrong, std::string advice) const {
    return {name, title, Verdict::kWarning, std::move(found), std::move(wrong), std::move(advice)};
  }
  [[nodiscard]] Finding Fault(std::string found, std::string wrong, std::string advice) const {
    return {name, title, Verdict::kFault, std::move(found), std::move(wrong), std::move(advice)};
  }
};

constexpr Step kLibrary{"library", "library"};
constexpr Step kRequest{"request_pipe", "request pipe"};
constexpr Step kNotify{"notification_pipe", "notification pipe"};
constexpr Step kServer{"server", "server"};
constexpr Step kCom{"com", "COM"};
constexpr Step kDriver{"driver_query", "driver query"};
constexpr Step kStore{"driver_store", "driver store"};
constexpr Step kCandidate{"candidate", "candidate"};
constexpr Step kPackage{"package", "package"};
constexpr Step kAlgorithm{"algorithm_library", "algorithm library"};
constexpr Step kServerList{"server_list", "server's list"};
constexpr Step kMerged{"merged_list", "merged list"};

std::string ToText(const VersionQuad& version) { return format("{}", fmt::join(version, ".")); }

std::string ToText(const std::vector<std::string>& names) {
  return names.empty() ? "none" : format("{}", fmt::join(names, ", "));
}

Finding DiagnoseLibrary(const LibraryFacts& library) {
  if (!library.error.empty()) {
    return kLibrary.Fault(
        library.error, "No call can be made.",
        library.missing ? "Put ZorInterface.dll beside zorctl.exe, and beside the application."
                        : "Replace the file by the ZorInterface.dll of zorctl's own release.");
  }
  return kLibrary.Ok(format("{}, version {}", library.path, library.version));
}

Finding DiagnosePipe(const Step& step, const char* name, const PipeCheck& pipe,
                     std::string consequence, bool other_exists) {
  switch (pipe.state) {
    case PipeState::kFree:
      return step.Ok(format("{} exists and has a free instance", name));
    case PipeState::kAbsent:
      return step.Fault(format("{} does not exist", name), std::move(consequence),
                        other_exists
                            ? "The server made only one of its two pipes: restart it, and see its "
                              "own log for why."
                            : "Start the audio server; without one at hand, start zorsim.");
    case PipeState::kBusy:
      return step.Fault(format("{} exists, but all its instances are busy", name),
                        std::move(consequence),
                        "Close other applications that use the server; one of them may hang.");
    case PipeState::kUnknown:
      break;
  }
  return step.Fault(format("{} cannot be examined (error {})", name, pipe.error),
                    std::move(consequence),
                    pipe.error == kAccessDenied ? "Run as a user whom the server admits."
                                                : "See the system's documentation for the error.");
}

void DiagnosePipes(const Facts& facts, Findings& findings) {
  const bool has_request = facts.request_pipe.state != PipeState::kAbsent;
  const bool has_notify = facts.notify_pipe.state != PipeState::kAbsent;
  findings.push_back(DiagnosePipe(kRequest, R"(\\.\Pipe\ZorSWNRpipe)", facts.request_pipe,
                                  "Every call will fail with result 2, not connected.",
                                  has_notify));
  findings.push_back(DiagnosePipe(kNotify, R"(\\.\Pipe\ZorSWNRpipeNotify)", facts.notify_pipe,
                                  "No notification reaches the application.", has_request));
}

/// A call that the server or the way to it has failed.
Finding DiagnoseResult(const Step& step, const Call& call, ZorResult result) {
  const Explanation explanation = Explain(call, result);
  std::string advice = explanation.advice + '.';
  advice.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(advice.front())));
  return step.Fault(format("{} returned {}", ExportName(call), result), explanation.meaning + '.',
                    std::move(advice));
}

Finding DiagnoseServer(const std::optional<ServerFacts>& server) {
  if (!server) return kServer.Skipped("not asked: there is no library or no request pipe");
  if (server->information_result != ZOR_SUCCESS) {
    return DiagnoseResult(kServer, InfoCall{}, server->information_result);
  }
  return kServer.Ok(format("answered, information {}", fmt::join(server->information, ".")));
}

Finding DiagnoseCom(std::uint32_t result) {
  if (static_cast<std::int32_t>(result) >= 0) return kCom.Ok("initialised");
  return kCom.Fault(format("initialising failed (0x{:08X})", result),
                    "The installed driver cannot be asked for.",
                    "An application must initialise COM on the thread that lists the algorithms.");
}

std::string NameOf(QueryStep step) {
  switch (step) {
    case QueryStep::kSecurity:
      return "setting the process's COM security";
    case QueryStep::kLocator:
      return "creating the WMI locator";
    case QueryStep::kConnect:
      return R"(connecting to the WMI namespace ROOT\CIMV2)";
    case QueryStep::kProxyBlanket:
      return "setting the security of the WMI connection";
    default:
      return "the WMI query for Win32_PnpSignedDriver";
  }
}

Finding DiagnoseDriver(const DriverFacts& driver) {
  constexpr auto kUnknown = "The installed driver is not known, so no driver package is chosen.";
  if (driver.version == VersionQuad{}) {
    return kDriver.Fault(
        format("driver {} states the version '{}'", kHardwareId, driver.version_text),
        "That is not four numbers: the library takes it for 0.0.0.0, which fits no package.",
        kReinstall);
  }
  if (driver.version) {
    return kDriver.Ok(
        format("driver {} is installed, version {}", kHardwareId, ToText(*driver.version)));
  }
  if (!driver.failed) {
    return kDriver.Fault(
        format("driver {} states the version '{}'", kHardwareId, driver.version_text),
        "That is no version: ZorIntfEnum(2) will fail with result 1.", kReinstall);
  }
  switch (*driver.failed) {
    case QueryStep::kFindDriver:
      return kDriver.Fault(
          driver.rows == 0
              ? std::string("Win32_PnpSignedDriver lists no driver at all")
              : format("none of {} drivers has the hardware id {}", driver.rows, kHardwareId),
          kUnknown,
          "Install the audio driver package; if it is installed, see that the Windows Management "
          "Instrumentation service lists it.");
    case QueryStep::kReadVersion:
      return kDriver.Fault(format("driver {} is installed, but states no version", kHardwareId),
                           kUnknown, kReinstall);
    case QueryStep::kSecurity:
      return kDriver.Fault(
          format("{} failed (0x{:08X})", NameOf(*driver.failed), driver.result), kUnknown,
          "An application that sets COM security itself must do so before it lists the algorithms, "
          "or leave it to the library.");
    default:
      return kDriver.Fault(
          format("{} failed (0x{:08X})", NameOf(*driver.failed), driver.result), kUnknown,
          "See that the Windows Management Instrumentation service runs and admits this user.");
  }
}

Finding DiagnoseStore(const MachineFacts& machine) {
  constexpr auto kNoPackage = "No driver package can be found.";
  const StoreFacts& store = machine.store;
  if (store.directory.empty()) {
    return kStore.Fault("the environment variable \"systemroot\" is not set", kNoPackage,
                        "Start the application with the system's own environment.");
  }
  if (!store.error.empty()) {
    return kStore.Fault(format("{} cannot be listed: {}", store.directory, store.error),
                        "ZorIntfEnum(2) will fail with result 1 as soon as a driver is installed.",
                        "See that the environment variable \"systemroot\" names the Windows "
                        "folder, and that this user may read the driver store.");
  }
  if (machine.candidates.empty()) {
    return kStore.Fault(format("{} holds no entry named zorapo.inf_...", store.directory),
                        kNoPackage, "Install the audio driver package.");
  }
  return kStore.Ok(
      format("{} holds {} of the product's packages", store.directory, machine.candidates.size()));
}

Finding DiagnoseCandidate(const CandidateFacts& candidate) {
  constexpr auto kPassedOver = "It is passed over.";
  const std::string& folder = candidate.folder;
  if (!candidate.examined) {
    return kCandidate.Skipped(format("{}: the search ended before it", folder));
  }
  if (!candidate.error.empty()) {
    return kCandidate.Fault(format("{}: its version cannot be read: {}", folder, candidate.error),
                            "The search ends here: ZorIntfEnum(2) will fail with result 1.",
                            kReinstall);
  }
  if (candidate.version) {
    return kCandidate.Ok(format("{}: version {}", folder, ToText(*candidate.version)));
  }
  if (!candidate.opened) {
    return kCandidate.Warning(format("{}: {} cannot be opened", folder, candidate.inf), kPassedOver,
                              "See that the file exists and that this user may read it.");
  }
  if (candidate.is_utf16) {
    return kCandidate.Warning(format("{}: zorapo.inf is saved as UTF-16", folder),
                              "The library reads 8-bit text only, finds no version and passes the "
                              "package over.",
                              "Install a package whose INF file is saved as ANSI or UTF-8.");
  }
  if (candidate.version_line.empty()) {
    return kCandidate.Warning(format("{}: zorapo.inf has no line with DriverVer", folder),
                              kPassedOver, kReinstall);
  }
  return kCandidate.Warning(
      format("{}: no version in the line '{}'", folder, candidate.version_line), kPassedOver,
      kReinstall);
}

Finding DiagnosePackage(const MachineFacts& machine) {
  if (!machine.package) return kPackage.Skipped("not chosen: the driver's version is not known");
  const PackageFacts& package = *machine.package;
  const std::string& version = machine.driver.version_text;
  if (!package.error.empty()) {
    return kPackage.Fault(format("the search ended: {}", package.error),
                          "ZorIntfEnum(2) will fail with result 1.",
                          "See what is said about the driver store and its packages.");
  }
  if (package.exact) {
    return kPackage.Ok(
        format("{}, because its version is that of the driver, {}", package.path, version));
  }
  if (package.path.empty()) {
    return kPackage.Fault("none was chosen",
                          "No package states a version, so no algorithm is known to be here.",
                          "See what is said about the packages, and install the driver again.");
  }
  return kPackage.Fault(
      format("{}, the best of those with a version", package.path),
      format("None has the version of the installed driver, '{}'.", version),
      "Install the driver package of that version, or restart if one was just installed.");
}

std::string LoadErrorAdvice(std::uint32_t error) {
  switch (error) {
    case kAccessDenied:
      return "It is a folder, or this user may not read it.";
    case kModuleNotFound:
      return "A library that it needs is missing; install the driver package again.";
    case kBadImage:
      return "The file is no 64-bit library; install the driver package again.";
    default:
      return kReinstall;
  }
}

Finding DiagnoseNames(const AlgorithmLibraryFacts& library) {
  const std::string answered =
      format("{} answered, algorithm id {}", library.file, library.query.algorithm_id);
  if (library.names.empty()) {
    return kAlgorithm.Warning(
        answered,
        "No algorithm of the library's catalogue has a file of this name: it does not count.",
        "A newer ZorInterface.dll may know it.");
  }
  return kAlgorithm.Ok(format("{}: {}", answered, ToText(library.names)));
}

Finding DiagnoseAlgorithm(const AlgorithmLibraryFacts& library) {
  constexpr auto kAbsent = "Its algorithm does not count as present.";
  const LibraryQuery& query = library.query;
  const std::string& file = library.file;
  if (!query.failed) return DiagnoseNames(library);
  switch (*query.failed) {
    case LibraryStep::kSetDirectory:
      return kAlgorithm.Fault(format("{}: the search directory could not be set", file), kAbsent,
                              "See that the package's folder still exists.");
    case LibraryStep::kLoad:
      return kAlgorithm.Fault(format("{} cannot be loaded (error {})", file, query.error), kAbsent,
                              LoadErrorAdvice(query.error));
    case LibraryStep::kFindEntry:
      return kAlgorithm.Fault(format("{} does not export zor_get_dll_information", file), kAbsent,
                              kReinstall);
    case LibraryStep::kAsk:
      break;
  }
  return kAlgorithm.Fault(
      format("{} was asked for its information and returned {}", file, query.answer), kAbsent,
      "Only 0 means success: see the documentation of the algorithm library.");
}

void DiagnoseContents(const MachineFacts& machine, Findings& findings) {
  if (!machine.contents) {
    findings.push_back(kAlgorithm.Skipped("not looked for: no package was chosen"));
    return;
  }
  const PackageContents& contents = *machine.contents;
  for (const auto& library : contents.libraries) findings.push_back(DiagnoseAlgorithm(library));
  if (!contents.error.empty()) {
    findings.push_back(
        kAlgorithm.Fault(format("{} cannot be listed: {}", machine.package->path, contents.error),
                         "ZorIntfEnum(2) will fail with result 1.",
                         "See that this user may read the package's folder."));
  } else if (contents.libraries.empty()) {
    findings.push_back(
        kAlgorithm.Fault(format("{} holds no algorithm library", machine.package->path),
                         "No algorithm is present on this machine.", kReinstall));
  }
}

Finding DiagnoseServerList(const std::optional<ServerFacts>& server) {
  if (!server) return kServerList.Skipped("not asked for");
  if (server->list_result != ZOR_SUCCESS) {
    return DiagnoseResult(kServerList, ListCall{}, server->list_result);
  }
  if (server->names.empty()) {
    return kServerList.Fault("it is empty", "The server offers no algorithm.",
                             "See the server's documentation.");
  }
  return kServerList.Ok(ToText(server->names));
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::any_of(names, [&](const std::string& other) {
    return EqualIgnoringCase(other.c_str(), name.c_str());
  });
}

/// What an application cannot use though the server offers it, or though it is installed.
void CompareLists(const std::vector<std::string>& server, const std::vector<std::string>& local,
                  Findings& findings) {
  AlgorithmIdTable table;
  const std::vector<std::string_view> sent(server.begin(), server.end());
  const auto length =
      MergeAlgorithms(table, sent, static_cast<std::uint32_t>(server.size()), local);
  for (const AlgorithmIdEntry& row : table) {
    if (!Contains(local, row.name)) {
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

void DiagnoseMerged(const Facts& facts, Findings& findings) {
  if (!facts.server || facts.server->list_result != ZOR_SUCCESS) {
    findings.push_back(kMerged.Skipped("there is no list of the server's"));
    return;
  }
  const ServerFacts& server = *facts.server;
  if (server.merged_result != ZOR_SUCCESS) {
    findings.push_back(DiagnoseResult(kMerged, ListCall{}, server.merged_result));
    return;
  }
  std::vector<std::string> shown;
  for (const auto& name : server.merged) shown.push_back(name.value_or("(not present here)"));

  const std::vector<std::string> local = facts.machine.LocalNames();
  if (local.empty()) {
    findings.push_back(kMerged.Ok(
        format("{}: the server's list as it is, because no algorithm is known to be here",
               ToText(shown))));
    return;
  }
  findings.push_back(kMerged.Ok(ToText(shown)));
  CompareLists(server.names, local, findings);
}

}  // namespace

std::vector<Finding> Diagnose(const Facts& facts) {
  Findings findings;
  findings.push_back(DiagnoseLibrary(facts.library));
  DiagnosePipes(facts, findings);
  findings.push_back(DiagnoseServer(facts.server));
  findings.push_back(DiagnoseCom(facts.com_result));
  findings.push_back(DiagnoseDriver(facts.machine.driver));
  findings.push_back(DiagnoseStore(facts.machine));
  for (const auto& candidate : facts.machine.candidates) {
    findings.push_back(DiagnoseCandidate(candidate));
  }
  findings.push_back(DiagnosePackage(facts.machine));
  DiagnoseContents(facts.machine, findings);
  findings.push_back(DiagnoseServerList(facts.server));
  DiagnoseMerged(facts, findings);
  return findings;
}

bool IsHealthy(const std::vector<Finding>& findings) {
  return std::ranges::none_of(
      findings, [](const Finding& finding) { return finding.verdict == Verdict::kFault; });
}

}  // namespace zor::ctl
