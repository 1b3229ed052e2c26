/// zorctl's exit statuses. docs/zorctl.md lists them; scripts rely on them.
#pragma once

namespace zor::ctl {

enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,     ///< zorctl itself could not: a file, the library, another viewer
  kUsage = 2,      ///< the command line or a line of a script is wrong; nothing was sent
  kUnhealthy = 3,  ///< doctor found something missing or wrong
  kTimedOut = 4,   ///< watch: the time ran out first
  kTransportFailure = 11,
  kNotConnected = 12,
  kUnknownAlgorithm = 13,
  kServerResult = 20,  ///< any other result: the server's own
};

}  // namespace zor::ctl
