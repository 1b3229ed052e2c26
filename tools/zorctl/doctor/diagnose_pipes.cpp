#include "tools/zorctl/doctor/step.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

namespace zor::ctl {
namespace {

using fmt::format;

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

}  // namespace

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

bool CanAskServer(const Facts& facts) { return IsReachable(facts.request_pipe); }

}  // namespace zor::ctl
