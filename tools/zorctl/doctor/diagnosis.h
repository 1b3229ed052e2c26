/// From what was seen to what is wrong and what to do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

/// A consequence is what goes wrong because of a fault that was found before: nothing is to be done
/// about it.
enum class Verdict : std::uint8_t { kOk, kWarning, kFault, kSkipped, kConsequence };

/// One step of the chain, or one of the things that a step looks at.
struct Finding {
  std::string step;   ///< "request_pipe"
  std::string title;  ///< "request pipe"
  Verdict verdict = Verdict::kOk;
  std::string found;                    ///< a clause: "K270502.dll answered"
  std::string wrong;                    ///< a sentence; empty when nothing is
  std::string advice;                   ///< a sentence; empty when there is nothing to do
  std::string because = {};             ///< of a consequence: the title of the cause's step
  std::vector<std::string> lines = {};  ///< the library's own debug lines about it
};

using Findings = std::vector<Finding>;

// One function for each part of the chain, in its order. A part may look at what the parts before
// it have found, not at those behind it.
[[nodiscard]] Findings DiagnoseProcess(const Facts& facts);
[[nodiscard]] Findings DiagnoseLibrary(const Facts& facts);
[[nodiscard]] Findings DiagnoseRequestPipe(const Facts& facts);
[[nodiscard]] Findings DiagnoseNotifyPipe(const Facts& facts);
[[nodiscard]] Findings DiagnoseServer(const Facts& facts);
[[nodiscard]] Findings DiagnoseDriver(const Facts& facts);
[[nodiscard]] Findings DiagnoseStore(const Facts& facts);
[[nodiscard]] Findings DiagnosePackage(const Facts& facts);
[[nodiscard]] Finding DiagnoseAlgorithm(const AlgorithmLibraryFacts& library);
/// What the package's libraries are together: none, or several of one algorithm.
[[nodiscard]] Findings DiagnoseAlgorithms(const Facts& facts);
[[nodiscard]] Findings DiagnoseServerList(const Facts& facts);
[[nodiscard]] Findings DiagnoseMergedList(const Facts& facts);

/// All of them.
[[nodiscard]] Findings Diagnose(const Facts& facts);

/// Whether nothing is known that speaks against calls of the library.
[[nodiscard]] bool IsUsable(const LibraryFacts& library);

/// Whether a request can be sent at all: otherwise none is tried.
[[nodiscard]] bool CanAskServer(const Facts& facts);

/// Whether the server replies to a request as it should: otherwise the library is not asked to make
/// calls, of which some would never return.
[[nodiscard]] bool IsSound(const std::optional<ExchangeFacts>& exchange);

/// Whether the library can be asked for its list of algorithms without hanging or crashing.
[[nodiscard]] bool CanMerge(const Facts& facts);

/// Whether there is no fault; warnings do not count.
[[nodiscard]] bool IsHealthy(const Findings& findings);

}  // namespace zor::ctl
