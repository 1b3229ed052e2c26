#include "tools/zorctl/doctor/diagnosis.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "discovery/merge.h"
#include "discovery/text.h"

namespace zor::ctl {
namespace {

using fmt::format;

constexpr auto kHardwareId = R"(SWC\VEN_ZOR&CID_APO)";
constexpr auto kReinstall = "Install the audio driver package again.";
constexpr auto kRestartServer = "Restart the audio server, and see its own log.";
constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kModuleNotFound = 126;
constexpr std::uint32_t kFunctionNotFound = 127;
constexpr std::uint32_t kBadImage = 193;
constexpr std::uint32_t kInitialisationFailed = 1114;
constexpr std::uint32_t kSlowMs = 1000;

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
  /// What follows from the cause.
  [[nodiscard]] Finding Consequence(std::string found, const Step& cause) const {
    Finding finding{name, title, Verdict::kConsequence, std::move(found), {}, {}};
    finding.because = cause.title;
    return finding;
  }
};

constexpr Step kProcess{"process", "this process"};
constexpr Step kLibrary{"library", "library"};
constexpr Step kRequest{"request_pipe", "request pipe"};
constexpr Step kNotify{"notification_pipe", "notification pipe"};
constexpr Step kServerProcess{"server_process", "server process"};
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

/// "error 5: Access denied".
std::string ToText(const SystemError& error) {
  return error.text.empty() ? format("error {}", error.number)
                            : format("error {}: {}", error.number, error.text);
}

std::string ToSeconds(std::uint32_t milliseconds) {
  return format("{:.1f} s", static_cast<double>(milliseconds) / 1000);
}

/// What a child process did instead of reporting: "did not end within 5.0 s", with `doing` for its
/// subject.
std::string ToText(const ProbeEnd& end, std::string_view doing) {
  switch (end.how) {
    case ProbeEnd::How::kTimedOut:
      return format("{} did not end within {}", doing, ToSeconds(end.limit_ms));
    case ProbeEnd::How::kNotStarted:
      return format("{}: the process for it could not be started (error {})", doing, end.status);
    default:
      break;
  }
  constexpr std::uint32_t kFirstException = 0x80000000;
  if (end.status >= kFirstException) {
    const char* const name = end.status == 0xC0000005   ? ", access violation"
                             : end.status == 0xC00000FD ? ", stack overflow"
                             : end.status == 0xC0000409 ? ", abort"
                             : end.status == 0x80000100 ? ", a function that is not there"
                                                        : "";
    return format("{} crashed (exception 0x{:08X}{})", doing, end.status, name);
  }
  return format("{} ended the process, with status {}", doing, end.status);
}

/// A child process that did not report: a fault, unless there was no time to start it.
Finding Unreported(const Step& step, const ProbeEnd& end, std::string_view doing, std::string wrong,
                   std::string advice) {
  if (end.how == ProbeEnd::How::kNoTime) {
    return step.Skipped(format("{}: no time was left for it", doing));
  }
  return step.Fault(ToText(end, doing), std::move(wrong), std::move(advice));
}

// --- The library

/// Why the file cannot be used, by its header.
Finding DiagnoseImage(const LibraryFacts& library) {
  constexpr auto kNoCall = "No call can be made.";
  constexpr auto kReplace = "Replace the file by the ZorInterface.dll of zorctl's own release.";
  const ImageFacts& image = library.image;
  const std::string& path = library.path;
  switch (image.state) {
    case ImageFacts::State::kMissing:
      return kLibrary.Fault(format("{}: there is no such file", path), kNoCall,
                            "Put ZorInterface.dll beside zorctl.exe, and beside the application.");
    case ImageFacts::State::kFolder:
      return kLibrary.Fault(format("{} is a folder", path), kNoCall,
                            "Remove the folder, and put the file ZorInterface.dll in its place.");
    case ImageFacts::State::kUnreadable:
      return kLibrary.Fault(format("{} cannot be read ({})", path, ToText(image.error)), kNoCall,
                            image.error.number == kAccessDenied
                                ? "Give this user the right to read and execute the file."
                                : "Close the programs that hold the file, and copy it anew.");
    case ImageFacts::State::kNotAnImage:
      return kLibrary.Fault(format("{} is no library: it has no header of one", path), kNoCall,
                            kReplace);
    case ImageFacts::State::kTruncated:
      return kLibrary.Fault(format("{} is cut off: it is shorter than its header says", path),
                            kNoCall, kReplace);
    case ImageFacts::State::kOtherMachine:
      return kLibrary.Fault(format("{} is for {}", path, image.machine),
                            "zorctl and the library are programs for 64-bit x86.", kReplace);
    case ImageFacts::State::kSound:
      break;
  }
  const MissingImport& import = image.missing.front();
  return kLibrary.Fault(format("{} cannot be loaded: {}, which {} needs, {}", path, import.name,
                               import.needed_by, import.reason),
                        kNoCall, format("Install {}.", import.name));
}

// --- The pipes

constexpr auto kRequestName = R"(\\.\Pipe\ZorSWNRpipe)";
constexpr auto kNotifyName = R"(\\.\Pipe\ZorSWNRpipeNotify)";

/// "process 264, C:\server.exe, user NT AUTHORITY\SYSTEM, session 0".
std::string Owner(const PipeFacts& pipe) {
  if (pipe.process == 0) return "a process that cannot be told";
  std::string text = format("process {}", pipe.process);
  text += pipe.image.empty() ? ", program not readable" : ", " + pipe.image;
  text += pipe.user.empty() ? ", user not readable" : ", user " + pipe.user;
  return text + format(", session {}", pipe.session);
}

std::string WhoAmI(const std::optional<ProcessFacts>& process) {
  if (!process) return "this user";
  return format("{} ({})", process->user, process->elevated ? "elevated" : "not elevated");
}

Finding DiagnosePipe(const Step& step, const char* name, const PipeFacts& pipe,
                     std::string consequence, const Facts& facts) {
  if (!pipe.end.ok()) {
    return Unreported(step, pipe.end, format("looking at {}", name), std::move(consequence),
                      kRestartServer);
  }
  switch (pipe.state) {
    case PipeState::kFree:
      break;
    case PipeState::kAbsent:
      return step.Fault(
          pipe.error.number == 0 ? format("{} does not exist", name)
                                 : format("{} does not exist ({})", name, ToText(pipe.error)),
          std::move(consequence), "Start the audio server; without one at hand, start zorsim.");
    case PipeState::kBusy:
      return step.Fault(
          pipe.error.number == 0
              ? format("{} exists, but all its instances are busy", name)
              : format("{} exists, but all its instances are busy ({})", name, ToText(pipe.error)),
          std::move(consequence),
          "Close other applications that use the server; one of them may hang.");
    case PipeState::kUnknown:
      if (pipe.error.number == kAccessDenied) {
        return step.Fault(
            format("{} refuses access to {} ({})", name, WhoAmI(facts.process), ToText(pipe.error)),
            std::move(consequence),
            "Run as a user whom the server admits, or let the server admit this one.");
      }
      return step.Fault(format("{} cannot be opened ({})", name, ToText(pipe.error)),
                        std::move(consequence), kRestartServer);
  }
  if (!pipe.messages) {
    return step.Fault(format("{} carries bytes, not messages; it belongs to {}", name, Owner(pipe)),
                      "The library reads messages: replies run into each other or never end.",
                      "End that program if it is not the audio server; else have it make the pipe "
                      "of message type.");
  }
  return step.Ok(pipe.is_open ? format("{} exists and has a free instance; message pipe of {}",
                                       name, Owner(pipe))
                              : format("{} exists and has a free instance", name));
}

constexpr auto kHalfServer =
    "The server has made only one of its two pipes: restart it, and see its own log for why.";

bool IsAbsent(const PipeFacts& pipe) { return pipe.end.ok() && pipe.state == PipeState::kAbsent; }

bool IsReachable(const PipeFacts& pipe) { return pipe.end.ok() && pipe.state == PipeState::kFree; }

// --- The server

/// The first bytes of a reply that is none, in letters or in numbers.
std::string ShowStart(const std::vector<std::uint8_t>& bytes_sent) {
  const std::string start(bytes_sent.begin(), bytes_sent.end());
  const bool letters = std::ranges::all_of(
      start, [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\r' || c == '\n'; });
  if (letters) return format("'{}'", start.substr(0, start.find_first_of("\r\n")));
  std::string bytes;
  for (const char c : start) {
    fmt::format_to(std::back_inserter(bytes), "{}{:02X}", bytes.empty() ? "" : " ",
                   static_cast<unsigned char>(c));
  }
  return bytes;
}

constexpr auto kEveryCall1 = "Every such call fails with result 1.";
constexpr auto kOtherServer =
    "See which program serves the pipe (above): it is another one than the audio server, or of "
    "another release.";

/// What is wrong with a reply, as far as it can be seen without its contents.
Finding DiagnoseReply(const Step& step, const char* call, const ExchangeFacts& reply) {
  using State = ExchangeFacts::State;
  constexpr std::uint32_t kBrokenPipe = 109;
  constexpr std::uint32_t kNotConnected = 233;
  constexpr std::uint32_t kNoData = 232;
  switch (reply.state) {
    case State::kOpenFailed:
      return step.Fault(
          format("the pipe could not be opened for {} ({})", call, ToText(reply.error)),
          "The call returns 2, not connected.",
          "Close other applications that use the server; it admits too few clients.");
    case State::kWriteFailed:
      return step.Fault(format("the connection broke while the request {} was sent ({})", call,
                               ToText(reply.error)),
                        kEveryCall1, kRestartServer);
    case State::kReadFailed: {
      const std::uint32_t error = reply.error.number;
      const bool dropped = error == kBrokenPipe || error == kNotConnected || error == kNoData;
      return step.Fault(
          dropped ? format("the server dropped the connection instead of replying to {} ({})", call,
                           ToText(reply.error))
                  : format("the reply to {} could not be read ({})", call, ToText(reply.error)),
          kEveryCall1, kRestartServer);
    }
    case State::kTooLong:
      return step.Fault(
          format("the reply to {} is longer than 1024 bytes ({})", call, ToText(reply.error)),
          "The library reads 1024 bytes at most: the call returns 1, and so does the next one.",
          "Have the server shorten the reply: fewer or shorter names.");
    case State::kReplied:
      break;
  }
  if (reply.size == 0) {
    return step.Fault(format("the reply to {} is empty: a message of no bytes", call), kEveryCall1,
                      kOtherServer);
  }
  if (std::string(reply.start.begin(), reply.start.end()).starts_with("HTTP/")) {
    return step.Fault(
        format("the reply to {} is HTTP: {}", call, ShowStart(reply.start)), kEveryCall1,
        "End the web server that has taken the pipe's name, and restart the audio server.");
  }
  if (!reply.valid) {
    return step.Fault(format("the reply to {}, {} bytes, is no message of the protocol: {}", call,
                             reply.size, ShowStart(reply.start)),
                      kEveryCall1, kOtherServer);
  }
  constexpr const char* kMeanings[] = {"", "\"failed\"", "\"not connected\"",
                                       "\"unknown algorithm\""};
  if (reply.result <= ZOR_UNKNOWN_ALGORITHM) {
    return step.Fault(
        format("the server itself returned {} to {}: the pipe works", reply.result, call),
        format("An application takes this for the library's own result {}, {}.", reply.result,
               kMeanings[reply.result]),
        "See the server's own log and documentation for this result.");
  }
  return step.Fault(format("the server returned {} to {}: its own result", reply.result, call),
                    "The call fails with this result.",
                    "See the server's documentation for it, for zorsim docs/simulator.md.");
}

/// The finding about an exchange that is not sound, also when it never came to its end.
Finding DiagnoseExchange(const Step& step, const char* call, const ExchangeFacts& reply,
                         const std::optional<CallFacts>& call_made, const Facts& facts) {
  Finding finding;
  if (reply.end.how == ProbeEnd::How::kTimedOut) {
    finding = step.Fault(
        format("the server did not reply to {} within {}", call, ToSeconds(reply.end.limit_ms)),
        "Every such call waits for ever: the library has no time limit.", kRestartServer);
  } else if (!reply.end.ok()) {
    finding = Unreported(step, reply.end, format("sending the request {}", call),
                         "The server cannot be asked.", kRestartServer);
  } else {
    finding = DiagnoseReply(step, call, reply);
  }
  if (facts.request_pipe.is_open && !facts.request_pipe.messages) {
    finding = step.Consequence(finding.found, kRequest);
  }
  if (call_made) finding.lines = call_made->lines;
  return finding;
}

/// A call of the library's that failed though the server's replies are sound.
Finding DiagnoseCall(const Step& step, const char* call, const CallFacts& made) {
  Finding finding;
  if (!made.end.ok()) {
    finding = Unreported(step, made.end, call, "An application hangs or ends in the same way.",
                         "Keep this report, and give it to the maintainers of ZorInterface.dll.");
  } else if (!made.exception.empty()) {
    finding = step.Fault(format("{} ended with the exception {}", call, made.exception),
                         "An application that does not catch it ends.",
                         "Look whether the server's reply claims more than it holds.");
  } else {
    finding = step.Fault(format("{} returned {}", call, made.result),
                         "The server's replies to doctor's own requests were sound.",
                         "See the library's own lines below, and try again: the server may fail "
                         "now and then.");
  }
  finding.lines = made.lines;
  return finding;
}

bool Succeeded(const CallFacts& call) {
  return call.end.ok() && call.exception.empty() && call.result == ZOR_SUCCESS;
}

Finding Slow(const Step& step, const char* call, std::uint32_t milliseconds) {
  return step.Warning(format("the reply to {} came after {}", call, ToSeconds(milliseconds)),
                      "A call blocks its thread for as long: an application may seem to hang.",
                      "See in the server's log what it waits for, and how busy the machine is.");
}

// --- The driver

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

// --- The driver store and its packages

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

/// What ends the library's search, and with it ZorIntfEnum(2).
std::optional<Step> CauseOfNoSearch(const MachineFacts& machine) {
  if (!machine.store.end.ok() || !machine.store.error.empty()) return kStore;
  const auto ends = [](const CandidateFacts& candidate) { return !candidate.error.empty(); };
  if (std::ranges::any_of(machine.candidates, ends)) return kCandidate;
  return std::nullopt;
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
      format("{}, the best of those with a version", package.path),
      format("None has the version of the installed driver, '{}'.", version),
      "Install the driver package of that version, or restart if one was just installed.");
}

// --- The algorithm libraries

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

bool AnyEndsTheProcess(const MachineFacts& machine) {
  return machine.contents && std::ranges::any_of(machine.contents->libraries, EndsTheProcess);
}

// --- The lists

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

Finding Unasked(const Step& step, const Facts& facts) {
  if (!CanAskServer(facts)) {
    return step.Consequence("not asked for: the request pipe cannot be used", kRequest);
  }
  return step.Consequence("not asked for: the server does not reply as it should", kServer);
}

}  // namespace

Findings DiagnoseProcess(const Facts& facts) {
  if (!facts.process) return {};
  const ProcessFacts& process = *facts.process;
  return {kProcess.Ok(format("user {}, {}elevated, session {}, {}", process.user,
                             process.elevated ? "" : "not ", process.session, process.system))};
}

Findings DiagnoseLibrary(const Facts& facts) {
  const LibraryFacts& library = facts.library;
  if (library.image.state != ImageFacts::State::kSound || !library.image.missing.empty()) {
    return {DiagnoseImage(library)};
  }
  constexpr auto kReplace = "Replace the file by the ZorInterface.dll of zorctl's own release.";
  if (!library.end.ok()) {
    return {Unreported(kLibrary, library.end, format("loading {}", library.path),
                       "An application hangs or ends in the same way.", kReplace)};
  }
  if (!library.error.empty()) {
    return {kLibrary.Fault(
        library.error, "No call can be made.",
        library.missing ? "Put ZorInterface.dll beside zorctl.exe, and beside the application."
                        : kReplace)};
  }
  return {kLibrary.Ok(format("{}, version {}", library.path, library.version))};
}

Findings DiagnoseRequestPipe(const Facts& facts) {
  Finding finding = DiagnosePipe(kRequest, kRequestName, facts.request_pipe,
                                 "Every call will fail with result 2, not connected.", facts);
  if (IsAbsent(facts.request_pipe) && !IsAbsent(facts.notify_pipe)) finding.advice = kHalfServer;
  return {finding};
}

Findings DiagnoseNotifyPipe(const Facts& facts) {
  const PipeFacts& request = facts.request_pipe;
  const PipeFacts& notify = facts.notify_pipe;
  Finding finding =
      DiagnosePipe(kNotify, kNotifyName, notify, "No notification reaches the application.", facts);
  if (IsAbsent(notify)) {
    if (IsAbsent(request)) return {kNotify.Consequence(finding.found, kRequest)};
    finding.advice = kHalfServer;
  }
  Findings findings{finding};
  if (request.process == 0 || notify.process == 0) return findings;
  if (request.process == notify.process) {
    findings.push_back(
        kServerProcess.Ok(format("both pipes belong to process {}", notify.process)));
  } else {
    findings.push_back(kServerProcess.Fault(
        format("the pipes belong to two processes: the request pipe to {}; the notification pipe "
               "to {}",
               Owner(request), Owner(notify)),
        "One of the two is not the audio server, but has taken the pipe's name.",
        "End the process that is not the audio server, then restart the server."));
  }
  return findings;
}

bool IsUsable(const LibraryFacts& library) {
  return library.image.state == ImageFacts::State::kSound && library.end.ok() &&
         library.error.empty() && library.image.missing.empty();
}

bool CanAskServer(const Facts& facts) { return IsReachable(facts.request_pipe); }

bool IsSound(const std::optional<ExchangeFacts>& exchange) {
  return exchange && exchange->end.ok() && exchange->state == ExchangeFacts::State::kReplied &&
         exchange->valid && exchange->result == ZOR_SUCCESS &&
         exchange->count == exchange->names.size();
}

Findings DiagnoseServer(const Facts& facts) {
  constexpr auto kCall = "ZorIntfGetInfo";
  const ServerFacts& server = facts.server;
  if (!server.information) return {Unasked(kServer, facts)};
  if (!IsSound(server.information)) {
    return {DiagnoseExchange(kServer, kCall, *server.information, server.information_call, facts)};
  }
  Findings findings;
  const std::uint32_t slowest =
      std::max(server.information->milliseconds,
               server.information_call ? server.information_call->milliseconds : 0);
  if (slowest > kSlowMs) findings.push_back(Slow(kServer, kCall, slowest));
  if (server.information_call && !Succeeded(*server.information_call)) {
    findings.push_back(DiagnoseCall(kServer, kCall, *server.information_call));
  } else {
    findings.push_back(kServer.Ok(
        format("answered, information {}", fmt::join(server.information->information, "."))));
  }
  return findings;
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

Findings DiagnoseServerList(const Facts& facts) {
  constexpr auto kCall = "ZorIntfEnum";
  const auto& list = facts.server.list;
  if (!list) return {Unasked(kServerList, facts)};
  const bool replied = list->end.ok() && list->state == ExchangeFacts::State::kReplied &&
                       list->valid && list->result == ZOR_SUCCESS;
  if (!replied) return {DiagnoseExchange(kServerList, kCall, *list, facts.server.list_call, facts)};
  if (list->count != list->names.size()) {
    return {kServerList.Fault(
        format("the reply claims {} names, but holds {}", list->count, list->names.size()),
        list->count > list->names.size()
            ? "The library makes a place for each name that is claimed: the call may take all "
              "memory, or give a list of empty places."
            : "The library takes the claimed number: the other names are lost.",
        "See the server's own log, and install a release of it that fits the driver.")};
  }
  Findings findings;
  if (list->milliseconds > kSlowMs)
    findings.push_back(Slow(kServerList, kCall, list->milliseconds));
  if (list->names.empty()) {
    findings.push_back(kServerList.Fault("it is empty", "The server offers no algorithm.",
                                         "See the server's documentation."));
  } else {
    findings.push_back(kServerList.Ok(ToText(list->names)));
  }
  return findings;
}

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
