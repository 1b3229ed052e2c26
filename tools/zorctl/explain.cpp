#include "tools/zorctl/explain.h"

#include <fmt/core.h>

#include <optional>
#include <string_view>

#include "simulator/results.h"

namespace zor::ctl {
namespace {

/// What the simulated server means by a result.
std::optional<std::string_view> SimulatorMeaning(ZorResult result) {
  using sim::Result;
  switch (static_cast<Result>(result)) {
    case Result::kSuccess:
      return std::nullopt;
    case Result::kUnknownFunction:
      return "it does not know the function";
    case Result::kMalformedRequest:
      return "the request is not a valid message";
    case Result::kNoSuchInstance:
      return "there is no instance with this handle";
    case Result::kWrongState:
      return "the instance's state does not allow the call";
    case Result::kUnknownAlgorithm:
      return "it has no such algorithm";
    case Result::kNoSuchParameter:
      return "there is no such parameter";
    case Result::kNoSuchBlob:
      return "there is no such block";
    case Result::kTooManyInstances:
      return "there are too many instances";
    case Result::kNoSuchList:
      return "there is no list with this selector";
    case Result::kValueOutOfRange:
      return "the value is outside the parameter's range";
    case Result::kReplyTooLarge:
      return "the answer would not fit in a reply";
    case Result::kMissingArgument:
      return "the request lacks what the call needs";
    case Result::kTooLarge:
      return "the request or its block is too large";
    case Result::kTooManyBlobs:
      return "the instance has too many blocks";
    case Result::kReadOnly:
      return "the parameter cannot be set";
  }
  return std::nullopt;
}

Explanation TransportFailure(const Call& call) {
  Explanation explanation{
      .meaning =
          "the request could not be written, or the reply could not be read, was longer "
          "than 1024 bytes or was no valid message",
      .advice = "run `zorctl log` beside the call: the library says there which of them it was"};
  if (std::holds_alternative<BlobGetCall>(call)) {
    explanation.advice += "; a block must fit, with its name, in one reply of 1024 bytes";
  } else if (std::holds_alternative<ListCall>(call)) {
    explanation.advice +=
        "; searching the driver package may have failed, too: `zorctl doctor` shows where";
  }
  return explanation;
}

Explanation ServerResult(ZorResult result) {
  const auto simulator = SimulatorMeaning(result);
  if (!simulator) {
    return {.meaning = "the server's own result", .advice = "see the server's documentation"};
  }
  return {.meaning = fmt::format("the server's own result; from zorsim: {}", *simulator),
          .advice = "see the server's documentation, for zorsim docs/simulator.md"};
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
      return ServerResult(result);
  }
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
