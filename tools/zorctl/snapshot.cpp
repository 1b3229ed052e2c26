// A scenario for zorsim from what the server and the machine are.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <variant>

#include "tools/zorctl/call_limit.h"
#include "tools/zorctl/commands.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/doctor.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/report.h"
#include "tools/zorctl/session.h"

namespace zor::ctl {
namespace {

/// Ends the snapshot: what went wrong has been said.
struct Stopped {
  ExitStatus status;
};

class Snapshot {
 public:
  explicit Snapshot(const SnapshotCommand& command) : command_(command) {
    if (command_.selectors.empty()) command_.selectors = {kAlgorithms};
  }

  Json Take() {
    Json scenario;
    scenario["information"] = std::get<Information>(Make(InfoCall{})).words;
    scenario["lists"] = Lists();
    Json instances = Instances();
    scenario["parameters"] = Parameters(instances);
    // What is left out would be zorsim's default.
    scenario["blobs"] = Json::array();
    scenario["instances"] = std::move(instances);
    scenario["installed"] = ExamineThisMachine().LocalNames();
    return scenario;
  }

 private:
  Payload Make(const Call& call) {
    const Outcome outcome = MakeWithin(session_, call, command_.timeout_ms);
    if (outcome.result == ZOR_SUCCESS) return outcome.payload;
    Say("snapshot: " + FailureText(call, outcome));
    throw Stopped{StatusOf(outcome)};
  }

  Json Lists() {
    // The server sees the low 8 bits of a selector, the library looks at all of them: these are the
    // server's lists without what is known of this machine.
    constexpr std::uint32_t kServersOwn = 0x100;
    Json lists = Json::object();
    for (const std::uint32_t selector :
         std::set(command_.selectors.begin(), command_.selectors.end())) {
      const ListCall call{.selector = kServersOwn + selector};
      const Outcome outcome = MakeWithin(session_, call, command_.timeout_ms);
      if (outcome.result > ZOR_UNKNOWN_ALGORITHM) {
        Say(fmt::format("snapshot: there is no list {}: the server returned {}", selector,
                        outcome.result));
        continue;
      }
      if (outcome.result != ZOR_SUCCESS) {
        Say("snapshot: " + FailureText(call, outcome));
        throw Stopped{StatusOf(outcome)};
      }
      Json names = Json::array();
      for (const auto& name : std::get<NameList>(outcome.payload))
        names.push_back(name.value_or(""));
      lists[std::to_string(selector)] = std::move(names);
    }
    return lists;
  }

  Json Instances() {
    Json instances = Json::array();
    for (const std::uint32_t handle : command_.instances) {
      Json instance;
      instance["handle"] = handle;
      instance["status"] = std::get<Status>(Make(StatusCall{handle})).value;
      instance["parameters"] = Json::object();
      for (const std::string& name : command_.parameters) {
        const auto value = std::get<ParameterValue>(
            Make(GetCall{.handle = handle, .name = name, .no_list = true}));
        if (!std::isfinite(value.value)) {
          Say(fmt::format("snapshot: {} of {} is {}, which a scenario cannot hold", name, handle,
                          value.value));
          continue;
        }
        instance["parameters"][name] = ToNumber(value.value);
      }
      instances.push_back(std::move(instance));
    }
    return instances;
  }

  /// Each with the first instance's value for new ones.
  static Json Parameters(const Json& instances) {
    Json parameters = Json::array();
    std::set<std::string> known;
    for (const Json& instance : instances) {
      for (const auto& [name, value] : instance["parameters"].items()) {
        if (known.insert(name).second) parameters.push_back({{"name", name}, {"default", value}});
      }
    }
    return parameters;
  }

  SnapshotCommand command_;
  Session session_;
};

}  // namespace

ExitStatus TakeSnapshot(const SnapshotCommand& command) try {
  if (std::ranges::find(command.parameters, kAlgorithmParameter) != command.parameters.end()) {
    Say(fmt::format("snapshot: {} cannot be taken: it is every instance's own",
                    kAlgorithmParameter));
    return kUsage;
  }
  if (std::ranges::any_of(command.selectors, [](std::uint32_t number) { return number > 255; })) {
    Say("snapshot: --selector: the server's lists are numbered from 0 to 255");
    return kUsage;
  }
  const Library library;
  Print(ToDocument(Snapshot(command).Take()));
  return kDone;
} catch (const Stopped& stopped) {
  return stopped.status;
}

}  // namespace zor::ctl
