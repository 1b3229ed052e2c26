// The session of examples/session.c, by the commands of zorctl.
#include "tools/zorctl/commands.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <variant>

#include "tools/zorctl/call_limit.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/event_queue.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/report.h"
#include "tools/zorctl/session.h"

namespace zor::ctl {
namespace {

constexpr DWORD kConnectMs = 300;
constexpr DWORD kLastEventPatienceMs = 5000;
constexpr std::uint32_t kLastEvent = 3;

/// Ends the session: what went wrong has been said.
struct Stopped {
  ExitStatus status;
};

std::string Indented(const std::string& lines) {
  std::string indented;
  for (std::size_t begin = 0; begin < lines.size();) {
    const std::size_t end = lines.find('\n', begin) + 1;
    indented += "  " + lines.substr(begin, end - begin);
    begin = end;
  }
  return indented;
}

class Demo {
 public:
  Demo(std::uint32_t timeout_ms, bool json) : timeout_ms_(timeout_ms), json_(json) {}

  ExitStatus Run() try {
    // The library's own thread connects a moment after the load; what is sent before that is lost.
    WaitForSingleObject(events_.arrived(), kConnectMs);
    Step(InfoCall{});
    const std::string algorithm = FirstName(Step(ListCall{}));
    const Payload created = Step(CreateCall{algorithm, "first"});
    const std::uint32_t handle = std::get<Handle>(created).value;
    Step(ConfigCall{handle, "rate", "48000"});
    Step(ControlCall{Control::kStart, handle});
    Step(SetCall{handle, "gain", 0.5F});
    Step(GetCall{handle, "gain"});
    Step(StatusCall{handle});
    Step(BlobSetCall{handle, "tuning", {}, {1, 2, 3, 4}});
    Step(BlobGetCall{handle, "tuning", {}});
    Step(ControlCall{Control::kStop, handle});
    Step(ControlCall{Control::kDestroy, handle});
    return ShowEvents();
  } catch (const Stopped& stopped) {
    return stopped.status;
  }

 private:
  Payload Step(const Call& call) {
    const Outcome outcome = MakeWithin(session_, call, timeout_ms_);
    if (json_) {
      Print(ToLine(ToJson(call, outcome)));
    } else {
      const auto verdict = outcome.result == ZOR_SUCCESS ? "ok" : "failed";
      Print(fmt::format("{:<20} {}\n{}", ExportName(call), verdict, Indented(ToText(outcome))));
    }
    if (outcome.result != ZOR_SUCCESS) {
      Say(FailureText(call, outcome));
      throw Stopped{StatusOf(outcome)};
    }
    return outcome.payload;
  }

  static std::string FirstName(const Payload& list) {
    for (const auto& name : std::get<NameList>(list)) {
      if (name) return *name;
    }
    Say("demo: the server lists no algorithm that is present here; `zorctl doctor` tells why");
    throw Stopped{kFailed};
  }

  /// They come a moment after what raised them.
  ExitStatus ShowEvents() {
    for (;;) {
      while (const auto event = events_.Take()) {
        Print(json_ ? ToLine(ToJson(*event)) : Indented(ToText(*event)));
        if (event->type == kLastEvent) return kDone;
      }
      if (WaitForSingleObject(events_.arrived(), kLastEventPatienceMs) != WAIT_OBJECT_0) {
        Say(
            fmt::format("demo: the server sent no notification of type {} for the instance that "
                        "was destroyed",
                        kLastEvent));
        return kTimedOut;
      }
    }
  }

  std::uint32_t timeout_ms_;
  bool json_;
  EventQueue events_;
  Session session_;
};

}  // namespace

ExitStatus RunDemo(const DemoCommand& command, bool json) {
  const Library library;
  return Demo(command.timeout_ms, json).Run();
}

}  // namespace zor::ctl
