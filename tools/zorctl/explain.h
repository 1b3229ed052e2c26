/// What a result means: in sentences for people, and as an exit status.
#pragma once

#include <string>

#include "interface/zor.hpp"
#include "tools/zorctl/command.h"
#include "tools/zorctl/outcome.h"

namespace zor::ctl {

/// docs/zorctl.md lists them; scripts rely on them.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,        ///< zorctl itself could not: a file, the library, another viewer
  kUsage = 2,         ///< the command line or a line of a script is wrong; nothing was sent
  kUnhealthy = 3,     ///< doctor found something missing or wrong
  kTimedOut = 4,      ///< watch: the time ran out first
  kCallTimedOut = 5,  ///< --timeout: the call was cancelled
  kTransportFailure = 11,
  kNotConnected = 12,
  kUnknownAlgorithm = 13,
  kServerResult = 20,  ///< any other result: the server's own
};

struct Explanation {
  std::string meaning;  ///< what happened
  std::string advice;   ///< what to do; empty for a success
};

[[nodiscard]] Explanation Explain(const Call& call, ZorResult result);

/// As Explain(), of a call that was cancelled when its time was up, too.
[[nodiscard]] Explanation Explain(const Call& call, const Outcome& outcome);

[[nodiscard]] ExitStatus StatusOf(ZorResult result) noexcept;
[[nodiscard]] ExitStatus StatusOf(const Outcome& outcome) noexcept;

}  // namespace zor::ctl
