#include "tools/zorctl/doctor/doctor.h"

#include <windows.h>

#include <objbase.h>

#include <memory>

#include "tools/zorctl/commands.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/findings_report.h"
#include "tools/zorctl/doctor/machine.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/session.h"

namespace zor::ctl {
namespace {

/// COM on this thread, for as long as the object lives.
class Com {
 public:
  Com() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
  ~Com() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }

  [[nodiscard]] std::uint32_t result() const noexcept {
    return static_cast<std::uint32_t>(result_);
  }

 private:
  HRESULT result_;
};

/// The server sees the low 8 bits of a selector, the library looks at all of them: this is the
/// server's list of algorithms without the local ones.
constexpr ListCall kServersAlgorithms{.selector = 0x100 + kAlgorithms};

ServerFacts ExamineServer() {
  Session session;
  ServerFacts facts;
  const Outcome information = session.Make(InfoCall{});
  facts.information_result = information.result;
  if (information.result == ZOR_SUCCESS) {
    facts.information = std::get<Information>(information.payload).words;
  }
  const Outcome list = session.Make(kServersAlgorithms);
  facts.list_result = list.result;
  if (list.result != ZOR_SUCCESS) return facts;
  for (const auto& name : std::get<NameList>(list.payload))
    facts.names.push_back(name.value_or(""));

  const Outcome merged = session.Make(ListCall{});
  facts.merged_result = merged.result;
  if (merged.result == ZOR_SUCCESS) facts.merged = std::get<NameList>(merged.payload);
  return facts;
}

std::unique_ptr<Library> LoadLibraryFor(LibraryFacts& facts) try {
  auto library = std::make_unique<Library>();
  facts.path = library->path();
  facts.version = library->version();
  return library;
} catch (const LibraryError& error) {
  facts.error = error.what();
  facts.missing = error.missing;
  return nullptr;
}

}  // namespace

Facts Examine() {
  Facts facts;
  facts.request_pipe = CheckPipe(kRequestPipe);
  facts.notify_pipe = CheckPipe(kNotifyPipe);
  const Com com;
  facts.com_result = com.result();
  facts.machine = ExamineMachine(DiscoveryRules{});
  const auto library = LoadLibraryFor(facts.library);
  if (library != nullptr && facts.request_pipe.state != PipeState::kAbsent) {
    facts.server = ExamineServer();
  }
  return facts;
}

ExitStatus RunDoctor(bool json) {
  const auto findings = Diagnose(Examine());
  Print(json ? ToDocument(ToJson(findings)) : ToText(findings));
  return IsHealthy(findings) ? kDone : kUnhealthy;
}

}  // namespace zor::ctl
