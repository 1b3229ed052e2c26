#include "tools/zorctl/doctor/step.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

namespace zor::ctl {
namespace {

using fmt::format;

constexpr auto kHardwareId = R"(SWC\VEN_ZOR&CID_APO)";
constexpr std::uint32_t kModuleNotFound = 126;
constexpr std::uint32_t kFunctionNotFound = 127;
constexpr std::uint32_t kBadImage = 193;
constexpr std::uint32_t kInitialisationFailed = 1114;

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

/// "0x80041003: Access denied".
std::string ResultText(const DriverFacts& driver) {
  return driver.result_text.empty() ? format("0x{:08X}", driver.result)
                                    : format("0x{:08X}: {}", driver.result, driver.result_text);
}

Finding DiagnoseQuery(const DriverFacts& driver) {
  constexpr auto kUnknown = "The installed driver is not known, so no driver package is chosen.";
  if (!driver.end.ok()) {
    return Unreported(kDriver, driver.end,
                      "asking the Windows Management Instrumentation for the driver",
                      driver.end.how == ProbeEnd::How::kTimedOut
                          ? "ZorIntfEnum(2) waits as long: the library has no time limit."
                          : kUnknown,
                      "Restart the service \"Windows Management Instrumentation\" (winmgmt).");
  }
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
          format("{} failed ({})", NameOf(*driver.failed), ResultText(driver)), kUnknown,
          "An application that sets COM security itself must do so before it lists the algorithms, "
          "or leave it to the library.");
    default:
      return kDriver.Fault(
          format("{} failed ({})", NameOf(*driver.failed), ResultText(driver)), kUnknown,
          "See that the Windows Management Instrumentation service runs and admits this user.");
  }
}

/// That there is no driver is why there is no package.
bool NoDriver(const DriverFacts& driver) { return driver.failed == QueryStep::kFindDriver; }

Finding DiagnoseStoreFolder(const MachineFacts& machine) {
  const StoreFacts& store = machine.store;
  const bool searched = machine.driver.version.has_value();
  if (!store.end.ok()) {
    return Unreported(kStore, store.end, format("listing {}", store.directory),
                      "ZorIntfEnum(2) waits as long, or fails in the same way.",
                      "See that the disk of the Windows folder is there and sound.");
  }
  Finding finding;
  if (store.directory.empty()) {
    finding = kStore.Fault("the environment variable \"systemroot\" is not set",
                           "No driver package can be found.",
                           "Start the application with the system's own environment.");
  } else if (!store.error.empty()) {
    finding = kStore.Fault(format("{} cannot be listed: {}", store.directory, store.error),
                           searched ? "ZorIntfEnum(2) will fail with result 1."
                                    : "ZorIntfEnum(2) will fail with result 1 as soon as a driver "
                                      "is installed.",
                           "See that the environment variable \"systemroot\" names the Windows "
                           "folder, and that this user may read the driver store.");
  } else if (machine.candidates.empty()) {
    std::string found = format("{} holds no entry named zorapo.inf_...", store.directory);
    if (NoDriver(machine.driver)) return kStore.Consequence(std::move(found), kDriver);
    return kStore.Fault(std::move(found), "No driver package can be found.",
                        "Install the audio driver package.");
  } else {
    return kStore.Ok(format("{} holds {} of the product's packages", store.directory,
                            machine.candidates.size()));
  }
  // The library does not come to the store before it knows the driver.
  if (!searched) finding.verdict = Verdict::kWarning;
  return finding;
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

/// Why no package was chosen: the step that began it.
Step CauseOfNoPackage(const MachineFacts& machine) {
  if (!machine.package) return kDriver;
  if (const auto cause = CauseOfNoSearch(machine)) return *cause;
  return machine.candidates.empty() ? kStore : kPackage;
}

Finding DiagnoseChoice(const MachineFacts& machine) {
  if (!machine.package) {
    return kPackage.Consequence("not chosen: the driver's version is not known", kDriver);
  }
  const PackageFacts& package = *machine.package;
  const std::string& version = machine.driver.version_text;
  if (!package.error.empty()) {
    return kPackage.Consequence(format("the search ended: {}", package.error),
                                CauseOfNoSearch(machine).value_or(kStore));
  }
  if (package.exact) {
    return kPackage.Ok(
        format("{}, because its version is that of the driver, {}", package.path, version));
  }
  if (package.path.empty()) {
    if (machine.candidates.empty()) return kPackage.Consequence("none was chosen", kStore);
    return kPackage.Fault("none was chosen",
                          "No package states a version, so no algorithm is known to be here.",
                          kReinstall);
  }
  return kPackage.Fault(
      format("{} is used, though its version is another", package.path),
      format("The installed driver is '{}', but no package in the driver store has that version.",
             version),
      "Install the driver package of that version, or restart if one was just installed.");
}

constexpr auto kAbsent = "Its algorithm does not count as present.";

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

/// A library that the system does not load, and why: by the file, else by the system's error.
Finding DiagnoseLoad(const AlgorithmLibraryFacts& library) {
  const SystemError error{library.query.error, library.error_text};
  const std::string found = format("{} cannot be loaded ({})", library.file, ToText(error));
  switch (library.image.state) {
    case ImageFacts::State::kFolder:
      return kAlgorithm.Fault(found + ": it is a folder", kAbsent,
                              "Remove the folder, and install the audio driver package again.");
    case ImageFacts::State::kUnreadable:
      return kAlgorithm.Fault(found, kAbsent, "Give this user the right to read the package.");
    case ImageFacts::State::kNotAnImage:
      return kAlgorithm.Fault(found + ": it is no library", kAbsent, kReinstall);
    case ImageFacts::State::kTruncated:
      return kAlgorithm.Fault(found + ": it is cut off, shorter than its header says", kAbsent,
                              kReinstall);
    case ImageFacts::State::kOtherMachine:
      return kAlgorithm.Fault(
          format("{}: it is for {}, not for 64-bit x86", found, library.image.machine), kAbsent,
          "Install the driver package for 64-bit Windows.");
    case ImageFacts::State::kMissing:
    case ImageFacts::State::kSound:
      break;
  }
  if (!library.image.missing.empty()) {
    const MissingImport& import = library.image.missing.front();
    return kAlgorithm.Fault(
        format("{}: {}, which {} needs, {}", found, import.name, import.needed_by, import.reason),
        kAbsent, format("Install the driver package that has {}.", import.name));
  }
  if (error.number == kModuleNotFound || error.number == kFunctionNotFound ||
      error.number == kBadImage) {
    return kAlgorithm.Fault(found, kAbsent,
                            "A library that it needs is missing or does not fit: install the "
                            "driver package again.");
  }
  if (error.number == kInitialisationFailed) {
    return kAlgorithm.Fault(found + ": its own start refused", kAbsent, kReinstall);
  }
  return kAlgorithm.Fault(found, kAbsent, kReinstall);
}

/// Whether the library's search would end, or never end, at this one.
bool EndsTheProcess(const AlgorithmLibraryFacts& library) { return !library.end.ok(); }

}  // namespace

/// What ends the library's search, and with it ZorIntfEnum(2).
std::optional<Step> CauseOfNoSearch(const MachineFacts& machine) {
  if (!machine.store.end.ok() || !machine.store.error.empty()) return kStore;
  const auto ends = [](const CandidateFacts& candidate) { return !candidate.error.empty(); };
  if (std::ranges::any_of(machine.candidates, ends)) return kCandidate;
  return std::nullopt;
}

bool AnyEndsTheProcess(const MachineFacts& machine) {
  return machine.contents && std::ranges::any_of(machine.contents->libraries, EndsTheProcess);
}

Findings DiagnoseDriver(const Facts& facts) {
  return {DiagnoseCom(facts.com_result), DiagnoseQuery(facts.machine.driver)};
}

Findings DiagnoseStore(const Facts& facts) {
  Findings findings{DiagnoseStoreFolder(facts.machine)};
  for (const auto& candidate : facts.machine.candidates) {
    findings.push_back(DiagnoseCandidate(candidate));
  }
  return findings;
}

Findings DiagnosePackage(const Facts& facts) { return {DiagnoseChoice(facts.machine)}; }

Finding DiagnoseAlgorithm(const AlgorithmLibraryFacts& library) {
  const LibraryQuery& query = library.query;
  const std::string& file = library.file;
  if (!library.end.ok() && !library.image.missing.empty()) {
    const MissingImport& import = library.image.missing.front();
    return kAlgorithm.Fault(format("{}: {}, which {} needs, {}",
                                   ToText(library.end, format("loading and asking {}", file)),
                                   import.name, import.needed_by, import.reason),
                            "ZorIntfEnum(2) hangs or ends the application in the same way.",
                            format("Install the driver package that has {}.", import.name));
  }
  if (!library.end.ok()) {
    return Unreported(kAlgorithm, library.end, format("loading and asking {}", file),
                      "ZorIntfEnum(2) hangs or ends the application in the same way.",
                      "Install the audio driver package again; until then, move this file "
                      "out of the package's folder.");
  }
  if (!query.failed) return DiagnoseNames(library);
  switch (*query.failed) {
    case LibraryStep::kSetDirectory:
      return kAlgorithm.Fault(format("{}: the search directory could not be set", file), kAbsent,
                              "See that the package's folder still exists.");
    case LibraryStep::kLoad:
      return DiagnoseLoad(library);
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

Findings DiagnoseAlgorithms(const Facts& facts) {
  const MachineFacts& machine = facts.machine;
  if (!machine.contents) {
    return {
        kAlgorithm.Consequence("not looked for: no package was chosen", CauseOfNoPackage(machine))};
  }
  const PackageContents& contents = *machine.contents;
  if (!contents.end.ok()) {
    return {Unreported(kAlgorithm, contents.end, format("listing {}", machine.package->path),
                       "ZorIntfEnum(2) hangs or ends the application in the same way.",
                       "See that the disk of the driver store is there and sound.")};
  }
  if (!contents.error.empty()) {
    return {
        kAlgorithm.Fault(format("{} cannot be listed: {}", machine.package->path, contents.error),
                         "ZorIntfEnum(2) will fail with result 1.",
                         "See that this user may read the package's folder.")};
  }
  if (contents.libraries.empty()) {
    return {kAlgorithm.Fault(format("{} holds no algorithm library", machine.package->path),
                             "No algorithm is present on this machine.", kReinstall)};
  }
  std::map<std::string, std::vector<std::string>> files;
  for (const AlgorithmLibraryFacts& library : contents.libraries) {
    if (library.query.failed || !library.end.ok()) continue;
    for (const std::string& name : library.names) files[name].push_back(library.file);
  }
  Findings findings;
  for (const auto& [name, libraries] : files) {
    if (libraries.size() < 2) continue;
    findings.push_back(kAlgorithm.Warning(
        format("{} has {} libraries: {}", name, libraries.size(), ToText(libraries)),
        "The library counts each of them: the list of algorithms gets a place too many.",
        "Remove the package's files of another release: install the driver package again."));
  }
  return findings;
}

}  // namespace zor::ctl
