#include "tools/zorctl/doctor/doctor.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <utility>

#include "discovery/text.h"
#include "tools/zorctl/commands.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/application.h"
#include "tools/zorctl/doctor/bundle.h"
#include "tools/zorctl/doctor/facts_json.h"
#include "tools/zorctl/doctor/findings_report.h"
#include "tools/zorctl/doctor/image_check.h"
#include "tools/zorctl/doctor/probe_process.h"
#include "tools/zorctl/doctor/process_facts.h"
#include "tools/zorctl/files.h"

namespace zor::ctl {
namespace {

using std::chrono::milliseconds;

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
  Walk(const Onlooker& onlooker, const Limits& limits)
      : onlooker_(onlooker), limits_(limits), probes_(limits.total) {}

  MachineFacts RunMachine() {
    Machine();
    return std::move(facts_.machine);
  }

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
    const ProbeRun image =
        Probe("reading ZorInterface.dll", {"image", library.path, ToUtf8(SystemFolder().wstring())},
              limits_.short_look);
    FromJson(image.report, library.image);
    library.end = image.end;
    if (IsUsable(library)) {
      Look("loading ZorInterface.dll", {"library"}, limits_.short_look, library);
    }
    Found(DiagnoseLibrary(facts_));
  }

  void Pipes() {
    Look("looking at the request pipe", {"pipe", "request"}, limits_.short_look,
         facts_.request_pipe);
    // Which of them is there says what is wrong with the other.
    Look("looking at the notification pipe", {"pipe", "notify"}, limits_.short_look,
         facts_.notify_pipe);
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
      Look("asking the server for its information", {"exchange", "ZorIntfGetInfo"},
           limits_.short_look, facts_.server.information.emplace());
      // One that failed is made through the library, too, for what the library says of it.
      if (facts_.server.information->end.ok() && IsUsable(facts_.library)) {
        Call("calling ZorIntfGetInfo", "info", limits_.short_look, facts_.server.information_call);
      }
    }
    Found(DiagnoseServer(facts_));
  }

  void Machine() {
    MachineFacts& machine = facts_.machine;
    const ProbeRun driver = Probe("asking for the installed driver", {"driver"}, limits_.long_look);
    FromJson(driver.report, machine.driver);
    machine.driver.end = driver.end;
    facts_.com_result = driver.report.value("com", 0U);
    Found(DiagnoseDriver(facts_));

    ProbeWords words{"store"};
    if (machine.driver.version) {
      for (const auto part : *machine.driver.version) words.push_back(std::to_string(part));
    }
    const ProbeRun store = Probe("searching the driver store", words, limits_.long_look);
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
      Look("listing the algorithm libraries", {"package", package}, limits_.short_look,
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
    Look("loading " + file, {"algorithm", package, file}, limits_.short_look, library);
    library.file = file;
    if (library.end.ok() && library.query.failed != LibraryStep::kLoad) return;
    // As the system's loader searches, with the package's folder set.
    ProbeWords words{"image", package + '\\' + file, OwnFolder(), package,
                     ToUtf8(SystemFolder().wstring())};
    for (const auto& folder : PathFolders()) words.push_back(ToUtf8(folder.wstring()));
    const ProbeRun image = Probe("reading " + file, words, limits_.short_look);
    FromJson(image.report, library.image);
  }

  void Lists() {
    ServerFacts& server = facts_.server;
    if (IsSound(server.information)) {
      Look("asking the server for its algorithms", {"exchange", "ZorIntfEnum", "2"},
           limits_.short_look, server.list.emplace());
    }
    if (server.list && server.list->end.ok() && server.list->names.size() == server.list->count &&
        !IsSound(server.list) && IsUsable(facts_.library)) {
      Call("calling ZorIntfEnum", "plain", limits_.short_look, server.list_call);
    }
    Found(DiagnoseServerList(facts_));
    if (CanMerge(facts_)) {
      Call("calling ZorIntfEnum(2)", "list", limits_.long_look, server.merged);
    }
    Found(DiagnoseMergedList(facts_));
  }

  const Onlooker& onlooker_;
  const Limits limits_;
  Probes probes_;
  Facts facts_;
};

std::string FromEnvironment(const wchar_t* name) {
  std::array<wchar_t, 1024> value{};
  const DWORD size = GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  return size < value.size() ? ToUtf8(value.data()) : std::string();
}

/// The longest first: a folder that holds the user's name is one of its own.
PersonalTexts PersonalTextsOf(const Facts& facts) {
  PersonalTexts personal{{OwnFolder(), "(zorctl's folder)"},
                         {FromEnvironment(L"USERPROFILE"), "(user's folder)"},
                         {FromEnvironment(L"TEMP"), "(temporary folder)"}};
  for (const std::string& user :
       {facts.process->user, facts.request_pipe.user, facts.notify_pipe.user}) {
    constexpr std::string_view kSystemUsers = "NT AUTHORITY\\";
    if (!user.starts_with(kSystemUsers)) personal.emplace_back(user, "(user)");
  }
  personal.emplace_back(FromEnvironment(L"USERNAME"), "(user)");
  personal.emplace_back(FromEnvironment(L"COMPUTERNAME"), "(computer)");
  return personal;
}

void WriteBundle(const std::string& file, const Findings& findings, const Facts& facts) {
  const auto entries = MakeBundle(findings, facts, PersonalTextsOf(facts));
  WriteBytes(file, MakeZip(entries));
  std::string names;
  for (const ZipEntry& entry : entries) names += (names.empty() ? "" : ", ") + entry.name;
  Say(fmt::format(
      "doctor: {} holds {}; the names of this user and this computer, and their folders, "
      "are left out. Look at it before you send it",
      file, names));
}

}  // namespace

Facts Examine(const Onlooker& onlooker, const Limits& limits) {
  return Walk(onlooker, limits).Run();
}

MachineFacts ExamineThisMachine() {
  const Onlooker nobody{.begin = [](const std::string& /*doing*/) {},
                        .found = [](const Finding& /*finding*/) {}};
  return Walk(nobody, {}).RunMachine();
}

ExitStatus RunDoctor(const DoctorCommand& command, bool json) {
  const Look look{.width = TerminalWidth(), .colour = TerminalHasColour()};
  Findings findings;
  const auto found = [&](const Finding& finding) {
    findings.push_back(finding);
    SayDone();
    if (!json) Print(ToText(finding, look));
  };
  if (!command.app.empty()) {
    for (const Finding& finding : DiagnoseApplication(ExamineApplication(command.app))) {
      found(finding);
    }
  }
  const Facts facts = Examine({.begin =
                                   [&](const std::string& doing) {
                                     if (!json) SayDoing(doing);
                                   },
                               .found = found});
  Print(json ? ToDocument(ToJson(findings)) : Summary(findings, look));
  if (!command.bundle.empty()) WriteBundle(command.bundle, findings, facts);
  return IsHealthy(findings) ? kDone : kUnhealthy;
}

}  // namespace zor::ctl
