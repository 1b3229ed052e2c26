#include "tools/zorctl/doctor/probe.h"

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>

#include "discovery/text.h"
#include "messages/reply.h"
#include "messages/request.h"
#include "tools/zorctl/doctor/facts_json.h"
#include "tools/zorctl/doctor/image_check.h"
#include "tools/zorctl/doctor/machine.h"
#include "tools/zorctl/doctor/process_facts.h"
#include "tools/zorctl/explain.h"
#include "tools/zorctl/library.h"
#include "tools/zorctl/own_log.h"
#include "tools/zorctl/pipe_check.h"
#include "tools/zorctl/session.h"
#include "tools/zorctl/system_text.h"

namespace zor::ctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kReplyBytes = 1024;
constexpr std::size_t kShownBytes = 24;

std::uint32_t Since(Clock::time_point start) {
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

SystemError ErrorOf(DWORD number) { return {number, SystemText(number)}; }

/// A pipe's client end, opened as the library opens it.
class Client {
 public:
  explicit Client(const wchar_t* name) {
    // A server may need a moment between two clients; the library does not give it to it, but
    // doctor's own clients must not be in each other's way.
    WaitNamedPipeW(name, kPatienceMs);
    const HANDLE pipe =
        CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    error_ = GetLastError();
    if (pipe != INVALID_HANDLE_VALUE) pipe_.reset(pipe);
  }

  [[nodiscard]] HANDLE get() const noexcept { return pipe_.get(); }
  [[nodiscard]] DWORD error() const noexcept { return error_; }

 private:
  static constexpr DWORD kPatienceMs = 2000;

  windows::OwnedHandle pipe_;
  DWORD error_ = 0;
};

void LookAtServer(HANDLE pipe, PipeFacts& facts) {
  facts.is_open = true;
  DWORD flags = 0;
  if (GetNamedPipeInfo(pipe, &flags, nullptr, nullptr, nullptr) != FALSE) {
    facts.messages = (flags & PIPE_TYPE_MESSAGE) != 0;
  }
  ULONG process = 0;
  if (GetNamedPipeServerProcessId(pipe, &process) == FALSE) return;
  facts.process = process;
  facts.session = SessionOf(process);
  facts.image = ImageOf(process);
  facts.user = UserOf(process);
}

Json ProbePipe(const ProbeWords& words) {
  const wchar_t* const name = words.at(1) == "request" ? kRequestPipe : kNotifyPipe;
  const PipeCheck check = CheckPipe(name);
  PipeFacts facts{.state = check.state};
  if (check.error != 0) facts.error = ErrorOf(check.error);
  if (check.state != PipeState::kFree) return ToJson(facts);
  const Client client(name);
  if (client.get() == nullptr) {
    facts.state = ExplainPipeError(client.error()).state;
    facts.error = ErrorOf(client.error());
    return ToJson(facts);
  }
  LookAtServer(client.get(), facts);
  return ToJson(facts);
}

/// The reply's contents, as far as they are there.
void ReadMessage(const messages::CallMessage& message, ExchangeFacts& facts) {
  facts.valid = true;
  facts.result = message.result();
  if (const auto* information = message.server_info()) {
    facts.information = {information->info0(), information->info1(), information->info2(),
                         information->info3()};
  }
  if (const auto* list = message.enum_result()) {
    facts.count = list->count();
    if (const auto* names = list->names()) {
      for (const auto* name : *names) facts.names.push_back(name->str());
    }
  }
}

void Exchange(HANDLE pipe, std::span<const std::uint8_t> request, ExchangeFacts& facts) {
  using State = ExchangeFacts::State;
  // As the library does it.
  DWORD mode = PIPE_READMODE_MESSAGE;
  SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
  const auto start = Clock::now();
  DWORD count = 0;
  if (WriteFile(pipe, request.data(), static_cast<DWORD>(request.size()), &count, nullptr) ==
      FALSE) {
    facts.error = ErrorOf(GetLastError());
    facts.state = State::kWriteFailed;
    return;
  }
  alignas(8) std::array<std::uint8_t, kReplyBytes> reply{};
  count = 0;
  const bool read = ReadFile(pipe, reply.data(), kReplyBytes, &count, nullptr) != FALSE;
  const DWORD error = GetLastError();
  facts.milliseconds = Since(start);
  if (!read) {
    facts.error = ErrorOf(error);
    facts.state = error == ERROR_MORE_DATA ? State::kTooLong : State::kReadFailed;
    return;
  }
  facts.size = count;
  const auto bytes = std::span(reply).first(count);
  facts.start.assign(bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(count, kShownBytes));
  if (const auto* message = messages::CheckReply(bytes)) ReadMessage(*message, facts);
}

Json ProbeExchange(const ProbeWords& words) {
  ExchangeFacts facts;
  const Client client(kRequestPipe);
  if (client.get() == nullptr) {
    facts.state = ExchangeFacts::State::kOpenFailed;
    facts.error = ErrorOf(client.error());
    return ToJson(facts);
  }
  const auto selector =
      words.size() > 2 ? static_cast<std::uint8_t>(std::stoul(words[2])) : std::uint8_t{0};
  messages::Builder builder;
  builder.Finish(
      messages::BuildRequest(builder, {.func_name = words.at(1).c_str(), .enum_type = selector}));
  Exchange(client.get(), {builder.GetBufferPointer(), builder.GetSize()}, facts);
  return ToJson(facts);
}

Json ProbeImage(const ProbeWords& words) {
  std::vector<std::filesystem::path> folders;
  for (std::size_t i = 2; i < words.size(); ++i) folders.emplace_back(ToWide(words[i]));
  return ToJson(ExamineImage(ToWide(words.at(1)), folders));
}

Json ProbeLibrary(const ProbeWords& /*words*/) {
  LibraryFacts facts;
  try {
    const Library library;
    facts.path = library.path();
    facts.version = library.version();
  } catch (const LibraryError& error) {
    facts.error = error.what();
    facts.missing = error.missing;
  } catch (const std::exception& error) {
    facts.error = error.what();
  }
  return ToJson(facts);
}

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

Json ProbeDriver(const ProbeWords& /*words*/) {
  const Com com;
  DriverFacts facts = ExamineDriver();
  if (static_cast<std::int32_t>(facts.result) < 0) facts.result_text = SystemText(facts.result);
  Json json = ToJson(facts);
  json["com"] = com.result();
  return json;
}

/// The driver's version as four words; without them the version is not known.
Json ProbeStore(const ProbeWords& words) {
  std::optional<VersionQuad> version;
  if (words.size() > 4) {
    version.emplace();
    for (std::size_t i = 0; i < version->size(); ++i) {
      version->at(i) = static_cast<VersionQuad::value_type>(std::stoull(words[i + 1]));
    }
  }
  return ToJson(ExamineStore(DiscoveryRules{}, version));
}

Json ProbePackage(const ProbeWords& words) {
  return ToJson(ListPackage(DiscoveryRules{}, words.at(1)));
}

Json ProbeAlgorithm(const ProbeWords& words) {
  AlgorithmLibraryFacts facts = ExamineLibrary(DiscoveryRules{}, words.at(1), words.at(2));
  if (facts.query.failed == LibraryStep::kLoad) facts.error_text = SystemText(facts.query.error);
  return ToJson(facts);
}

/// The server sees the low 8 bits of a selector, the library looks at all of them: this is the
/// server's list of algorithms without the local ones.
constexpr ListCall kServersAlgorithms{.selector = 0x100 + kAlgorithms};

Call CallNamed(const std::string& name) {
  if (name == "info") return InfoCall{};
  return name == "plain" ? kServersAlgorithms : ListCall{};
}

Json ProbeCall(const ProbeWords& words) {
  const Library library;
  Session session;
  CallFacts facts;
  // The connection is made first, so that a server which needs a moment between two clients has it.
  WaitNamedPipeW(kRequestPipe, 2000);
  const auto start = Clock::now();
  try {
    const Outcome outcome = session.Make(CallNamed(words.at(1)));
    facts.result = outcome.result;
    if (const auto* names = std::get_if<NameList>(&outcome.payload)) facts.names = *names;
  } catch (const std::exception& error) {
    facts.exception = error.what();
  }
  facts.milliseconds = Since(start);
  return ToJson(facts);
}

const std::map<std::string, Json (*)(const ProbeWords&)>& Looks() {
  static const std::map<std::string, Json (*)(const ProbeWords&)> looks{
      {"pipe", ProbePipe},       {"exchange", ProbeExchange},   {"image", ProbeImage},
      {"library", ProbeLibrary}, {"driver", ProbeDriver},       {"store", ProbeStore},
      {"package", ProbePackage}, {"algorithm", ProbeAlgorithm}, {"call", ProbeCall}};
  return looks;
}

/// Without a box on the screen or a debugger, which would keep the process.
LONG WINAPI EndAtOnce(EXCEPTION_POINTERS* exception) {
  TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int RunProbe(ProbeWords words) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  SetUnhandledExceptionFilter(EndAtOnce);
  const HANDLE report = TakeReportHandle(words);
  const auto look = Looks().find(words.empty() ? std::string() : words.front());
  if (look == Looks().end()) return kUsage;
  WriteReport(report, {{"begin", words.front()}});
  // Not those of the thread that waits for notifications.
  const OwnLog log([report, thread = GetCurrentThreadId()](const std::string& line) {
    if (GetCurrentThreadId() == thread) WriteReport(report, {{"line", line}});
  });
  WriteReport(report, {{"report", look->second(words)}});
  // Reported: what happens in the process's end does not count.
  TerminateProcess(GetCurrentProcess(), kDone);
  return kDone;
}

}  // namespace zor::ctl
