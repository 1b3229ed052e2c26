/// Looking at something in a process of its own, which may hang or crash.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/windows/handle.h"
#include "tools/zorctl/doctor/facts.h"
#include "tools/zorctl/report.h"

namespace zor::ctl {

/// What a probe is told to do, as the words of a command line.
using ProbeWords = std::vector<std::string>;

struct ProbeRun {
  ProbeEnd end;
  Json report;                     ///< an object, empty without a report
  std::vector<std::string> lines;  ///< what the library wrote to the debug log
};

/// The first word of the command line of a process that is a probe: this program, started by
/// itself.
inline constexpr const char* kProbeWord = "doctor-probe";

/// Starts probes, one at a time. They end with this object, or with this process.
class Probes {
 public:
  /// No probe runs longer than what is left of `total`.
  explicit Probes(std::chrono::milliseconds total);

  /// How long a probe may run that wants so much time.
  [[nodiscard]] std::chrono::milliseconds LimitFor(std::chrono::milliseconds wanted) const;

  /// Waits for the probe's end, and ends it when it takes longer than `limit`.
  [[nodiscard]] ProbeRun Run(const ProbeWords& words, std::chrono::milliseconds limit) const;

 private:
  std::chrono::steady_clock::time_point end_;
  windows::OwnedHandle job_;
};

// The probe's side.

/// Where the probe writes. The words are those behind kProbeWord; those that are not the look's own
/// are taken away, and the environment is made that of the process that wants to know.
[[nodiscard]] HANDLE TakeReportHandle(ProbeWords& words);

/// One line of the report: what is begun, a debug line, or the facts.
void WriteReport(HANDLE report, const Json& line);

}  // namespace zor::ctl
