#include "tools/zorctl/doctor/doctor.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <utility>

#include "discovery/text.h"
#include "tools/zorctl/commands.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/facts_json.h"
#include "tools/zorctl/doctor/findings_report.h"
#include "tools/zorctl/doctor/image_check.h"
#include "tools/zorctl/doctor/probe_process.h"
#include "tools/zorctl/doctor/process_facts.h"

namespace zor::ctl {
namespace {

using std::chrono::milliseconds;

// All of them together end within a minute.
constexpr milliseconds kTotal(52'000);
constexpr milliseconds kShort(5'000);
constexpr milliseconds kLong(10'000);

std::string OwnFolder() {
  std::array<wchar_t, 1024> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return ToUtf8(std::filesystem::path(path.data()).parent_path().wstring());
}

std::string ToSeconds(milliseconds time) {
  return fmt::format("{:g} s", static_cast<double>(time.count()) / 1000);
}

/// One walk along the chain.
class Walk {
 public:
  explicit Walk(const Onlooker& onlooker) : onlooker_(onlooker), probes_(kTotal) {}

  Facts Run() {
    facts_.process = ExamineThisProcess();
    Found(DiagnoseProcess(facts_));
    Library();
    Pipes();
    Server();
    Machine();
    Lists();
    return std::move(facts_);
  }

 private:
  /// Names the step and takes it.
  ProbeRun Probe(const std::string& doing, const ProbeWords& words, milliseconds wanted) {
    const milliseconds limit = probes_.LimitFor(wanted);
    onlooker_.begin(fmt::format("{} (at most {})", doing, ToSeconds(limit)));
    return probes_.Run(words, limit);
  }

  template <typename Record>
  void Look(const std::string& doing, const ProbeWords& words, milliseconds wanted,
            Record& record) {
    const ProbeRun run = Probe(doing, words, wanted);
    FromJson(run.report, record);
    record.end = run.end;
  }

  void Found(const Findings& findings) const {
    for (const Finding& finding : findings) onlooker_.found(finding);
  }

  void Library() {
    LibraryFacts& library = facts_.library;
    library.path = OwnFolder() + R"(\ZorInterface.dll)";
    const ProbeRun image = Probe("reading ZorInterface.dll",
                                 {"image", library.path, ToUtf8(SystemFolder().wstring())}, kShort);
    FromJson(image.report, library.image);
    library.end = image.end;
    if (IsUsable(library)) {
      Look("loading ZorInterface.dll", {"library"}, kShort, library);
    }
    Found(DiagnoseLibrary(facts_));
  }

  void Pipes() {
    Look("looking at the request pipe", {"pipe", "request"}, kShort, facts_.request_pipe);
    // Which of them is there says what is wrong with the other.
    Look("looking at the notification pipe", {"pipe", "notify"}, kShort, facts_.notify_pipe);
    Found(DiagnoseRequestPipe(facts_));
    Found(DiagnoseNotifyPipe(facts_));
  }

  void Call(const std::string& doing, const char* what, milliseconds wanted,
            std::optional<CallFacts>& call) {
    call.emplace();
    ProbeRun run = Probe(doing, {"call", what}, wanted);
    FromJson(run.report, *call);
    call->end = run.end;
    call->lines = std::move(run.lines);
  }

  void Server() {
    if (CanAskServer(facts_)) {
      Look("asking the server for its information", {"exchange", "ZorIntfGetInfo"}, kShort,
           facts_.server.information.emplace());
      // One that failed is made through the library, too, for what the library says of it.
      if (facts_.server.information->end.ok() && IsUsable(facts_.library)) {
        Call("calling ZorIntfGetInfo", "info", kShort, facts_.server.information_call);
      }
    }
    Found(DiagnoseServer(facts_));
  }

  void Machine() {
    MachineFacts& machine = facts_.machine;
    const ProbeRun driver = Probe("asking for the installed driver", {"driver"}, kLong);
    FromJson(driver.report, machine.driver);
    machine.driver.end = driver.end;
    facts_.com_result = driver.report.value("com", 0U);
    Found(DiagnoseDriver(facts_));

    ProbeWords words{"store"};
    if (machine.driver.version) {
      for (const auto part : *machine.driver.version) words.push_back(std::to_string(part));
    }
    const ProbeRun store = Probe("searching the driver store", words, kLong);
    StoreSearch search;
    FromJson(store.report, search);
    machine.store = std::move(search.store);
    machine.store.end = store.end;
    machine.candidates = std::move(search.candidates);
    if (machine.driver.version) machine.package = std::move(search.package);
    Found(DiagnoseStore(facts_));
    Found(DiagnosePackage(facts_));
    Algorithms();
  }

  void Algorithms() {
    MachineFacts& machine = facts_.machine;
    if (machine.package && !machine.package->path.empty()) {
      const std::string& package = machine.package->path;
      Look("listing the algorithm libraries", {"package", package}, kShort,
           machine.contents.emplace());
      for (AlgorithmLibraryFacts& library : machine.contents->libraries) {
        Algorithm(package, library);
        Found({DiagnoseAlgorithm(library)});
      }
    }
    Found(DiagnoseAlgorithms(facts_));
  }

  void Algorithm(const std::string& package, AlgorithmLibraryFacts& library) {
    const std::string file = library.file;
    Look("loading " + file, {"algorithm", package, file}, kShort, library);
    library.file = file;
    if (library.end.ok() && library.query.failed != LibraryStep::kLoad) return;
    // As the system's loader searches, with the package's folder set.
    ProbeWords words{"image", package + '\\' + file, OwnFolder(), package,
                     ToUtf8(SystemFolder().wstring())};
    for (const auto& folder : PathFolders()) words.push_back(ToUtf8(folder.wstring()));
    const ProbeRun image = Probe("reading " + file, words, kShort);
    FromJson(image.report, library.image);
  }

  void Lists() {
    ServerFacts& server = facts_.server;
    if (IsSound(server.information)) {
      Look("asking the server for its algorithms", {"exchange", "ZorIntfEnum", "2"}, kShort,
           server.list.emplace());
    }
    if (server.list && server.list->end.ok() && server.list->names.size() == server.list->count &&
        !IsSound(server.list) && IsUsable(facts_.library)) {
      Call("calling ZorIntfEnum", "plain", kShort, server.list_call);
    }
    Found(DiagnoseServerList(facts_));
    if (CanMerge(facts_)) {
      Call("calling ZorIntfEnum(2)", "list", kLong, server.merged);
    }
    Found(DiagnoseMergedList(facts_));
  }

  const Onlooker& onlooker_;
  Probes probes_;
  Facts facts_;
};

}  // namespace

Facts Examine(const Onlooker& onlooker) { return Walk(onlooker).Run(); }

ExitStatus RunDoctor(const DoctorCommand& command, bool json) {
  static_cast<void>(command);
  const Look look{.width = TerminalWidth(), .colour = TerminalHasColour()};
  Findings findings;
  Onlooker onlooker;
  onlooker.begin = [&](const std::string& doing) {
    if (!json) SayDoing(doing);
  };
  onlooker.found = [&](const Finding& finding) {
    findings.push_back(finding);
    SayDone();
    if (!json) Print(ToText(finding, look));
  };
  Examine(onlooker);
  Print(json ? ToDocument(ToJson(findings)) : Summary(findings, look));
  return IsHealthy(findings) ? kDone : kUnhealthy;
}

}  // namespace zor::ctl
