/// What the parts of the diagnosis share: the steps' names, how a finding is made, and the words
/// for errors and times.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/zorctl/doctor/diagnosis.h"

namespace zor::ctl {

inline constexpr auto kReinstall = "Install the audio driver package again.";
inline constexpr auto kRestartServer = "Restart the audio server, and see its own log.";

inline constexpr std::uint32_t kAccessDenied = 5;

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

inline constexpr Step kProcess{"process", "this process"};
inline constexpr Step kLibrary{"library", "library"};
inline constexpr Step kRequest{"request_pipe", "request pipe"};
inline constexpr Step kNotify{"notification_pipe", "notification pipe"};
inline constexpr Step kServerProcess{"server_process", "server process"};
inline constexpr Step kServer{"server", "server"};
inline constexpr Step kCom{"com", "COM"};
inline constexpr Step kDriver{"driver_query", "driver query"};
inline constexpr Step kStore{"driver_store", "driver store"};
inline constexpr Step kCandidate{"candidate", "candidate"};
inline constexpr Step kPackage{"package", "package"};
inline constexpr Step kAlgorithm{"algorithm_library", "algorithm library"};
inline constexpr Step kServerList{"server_list", "server's list"};
inline constexpr Step kMerged{"merged_list", "merged list"};

[[nodiscard]] std::string ToText(const VersionQuad& version);

[[nodiscard]] std::string ToText(const std::vector<std::string>& names);

/// "error 5: Access denied".
[[nodiscard]] std::string ToText(const SystemError& error);

[[nodiscard]] std::string ToSeconds(std::uint32_t milliseconds);

/// What a child process did instead of reporting: "did not end within 5.0 s", with `doing` for its
/// subject.
[[nodiscard]] std::string ToText(const ProbeEnd& end, std::string_view doing);

/// A child process that did not report: a fault, unless there was no time to start it.
[[nodiscard]] Finding Unreported(const Step& step, const ProbeEnd& end, std::string_view doing,
                                 std::string wrong, std::string advice);

// What one part has to say to those behind it.

/// A call of the library's that failed though the server's replies are sound.
[[nodiscard]] Finding DiagnoseCall(const Step& step, const char* call, const CallFacts& made);

[[nodiscard]] bool Succeeded(const CallFacts& call);

/// What ends the library's search, and with it ZorIntfEnum(2).
[[nodiscard]] std::optional<Step> CauseOfNoSearch(const MachineFacts& machine);

[[nodiscard]] bool AnyEndsTheProcess(const MachineFacts& machine);

}  // namespace zor::ctl
