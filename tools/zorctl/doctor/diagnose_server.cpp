#include "tools/zorctl/doctor/step.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <optional>

namespace zor::ctl {
namespace {

using fmt::format;

constexpr std::uint32_t kSlowMs = 1000;

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
  if (reply.result <= ZOR_UNKNOWN_ALGORITHM) {
    constexpr const char* kMeanings[] = {"", "\"failed\"", "\"not connected\"",
                                         "\"unknown algorithm\""};
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

Finding Slow(const Step& step, const char* call, std::uint32_t milliseconds) {
  return step.Warning(format("the reply to {} came after {}", call, ToSeconds(milliseconds)),
                      "A call blocks its thread for as long: an application may seem to hang.",
                      "See in the server's log what it waits for, and how busy the machine is.");
}

Finding Unasked(const Step& step, const Facts& facts) {
  if (!CanAskServer(facts)) {
    return step.Consequence("not asked for: the request pipe cannot be used", kRequest);
  }
  return step.Consequence("not asked for: the server does not reply as it should", kServer);
}

}  // namespace

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

}  // namespace zor::ctl
