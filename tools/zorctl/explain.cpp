#include "tools/zorctl/explain.h"

namespace zor::ctl {
namespace {

Explanation TransportFailure(const Call& call) {
  Explanation explanation{
      .meaning = "no valid reply from the server",
      .advice = "run `zorctl log` beside the call: the library's own line says what failed"};
  if (std::holds_alternative<BlobGetCall>(call)) {
    explanation.advice += "; a block must fit, with its name, in one reply of 1024 bytes";
  } else if (std::holds_alternative<ListCall>(call)) {
    explanation.advice +=
        "; searching the driver package may have failed, too: `zorctl doctor` shows where";
  }
  return explanation;
}

}  // namespace

Explanation Explain(const Call& call, ZorResult result) {
  switch (result) {
    case ZOR_SUCCESS:
      return {.meaning = "success", .advice = {}};
    case ZOR_TRANSPORT_FAILURE:
      return TransportFailure(call);
    case ZOR_NOT_CONNECTED:
      return {.meaning = "the server's request pipe could not be opened",
              .advice =
                  "start the audio server (or zorsim); if it runs, `zorctl doctor` tells "
                  "whether all instances of its pipe are busy"};
    case ZOR_UNKNOWN_ALGORITHM:
      return {.meaning = "no algorithm of the list has this id, or there is no list yet",
              .advice = "`zorctl list` shows the ids that can be used here"};
    default:
      return {.meaning = "the server's own result",
              .advice = "see the server's documentation, for zorsim docs/simulator.md"};
  }
}

Explanation Explain(const Call& call, const Outcome& outcome) {
  if (!outcome.timed_out) return Explain(call, outcome.result);
  return {.meaning = "the server did not reply in time, and the call was cancelled",
          .advice =
              "zorctl makes no further call, which might be given the late reply; see why the "
              "server is silent, and restart it"};
}

ExitStatus StatusOf(const Outcome& outcome) noexcept {
  return outcome.timed_out ? kCallTimedOut : StatusOf(outcome.result);
}

ExitStatus StatusOf(ZorResult result) noexcept {
  switch (result) {
    case ZOR_SUCCESS:
      return kDone;
    case ZOR_TRANSPORT_FAILURE:
      return kTransportFailure;
    case ZOR_NOT_CONNECTED:
      return kNotConnected;
    case ZOR_UNKNOWN_ALGORITHM:
      return kUnknownAlgorithm;
    default:
      return kServerResult;
  }
}

}  // namespace zor::ctl
