// The library that is linked to the test, on the scripted platform. Its listener runs freely.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tests/kit/patience.h"
#include "tests/rig/rig.h"
#include "tests/support/library_test.h"
#include "tests/support/machine.h"

namespace zor::rig {

using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;
using scripted::ThePipes;
using scripted::TheThreads;

struct Rig::Impl {
  testing::CapturedLog log;
};

Rig::Rig() : impl_(std::make_unique<Impl>()) {
  scripted::ResetPlatform();
  TheCalls().StopRecording();
  TheThreads().RunFreely();
  // A pause still lets the others run: the listener would not do otherwise for a long time.
  TheCalls().Before(scripted::Function::kSleep,
                    [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
  TheOutput().Forward([this](std::string line) { impl_->log.Add(std::move(line)); });
}

Rig::~Rig() {
  EXPECT_EQ(ThePipes().OpenCount(), 0);
  EXPECT_EQ(TheHeap().BlockCount(), 0U);
  scripted::ResetPlatform();
}

testing::CapturedLog& Rig::log() { return impl_->log; }

std::size_t Rig::PipeEnds() const {
  return static_cast<std::size_t>(ThePipes().OpenCount() + ThePipes().AbandonedCount());
}

struct Library::Impl {
  std::unique_ptr<scripted::LoadedLibrary> library = std::make_unique<scripted::LoadedLibrary>();
};

Library::Library() : impl_(std::make_unique<Impl>()) {}

Library::~Library() = default;

const testing::Exports& Library::exports() const { return scripted::LinkedExports(); }

void Library::Unload() { impl_->library.reset(); }

struct RequestServer::Impl {
  struct Step {
    std::vector<Bytes> messages;
    bool hang_up = false;
  };

  /// On the thread of the call that has written the request.
  std::vector<Bytes> Serve(const Bytes& request) {
    const std::lock_guard lock(mutex);
    requests.push_back(request);
    if (steps.empty()) return {Build(Reply{})};
    const Step step = std::move(steps.front());
    steps.pop_front();
    if (step.hang_up) ThePipes().BreakConnections(kRequestPipe);
    return step.messages;
  }

  mutable std::mutex mutex;
  std::deque<Step> steps;
  std::vector<Bytes> requests;
  const int connections_before = ThePipes().Connections(kRequestPipe);
};

RequestServer::RequestServer() : impl_(std::make_unique<Impl>()) {
  ThePipes().Listen(kRequestPipe,
                    [impl = impl_.get()](const Bytes& request) { return impl->Serve(request); });
}

RequestServer::~RequestServer() {
  ThePipes().Remove(kRequestPipe);
  ThePipes().CloseConnections(kRequestPipe);
}

void RequestServer::Answer(std::vector<Bytes> messages) {
  const std::lock_guard lock(impl_->mutex);
  impl_->steps.push_back({.messages = std::move(messages)});
}

void RequestServer::HangUp() {
  const std::lock_guard lock(impl_->mutex);
  impl_->steps.push_back({.messages = {}, .hang_up = true});
}

std::vector<Bytes> RequestServer::Requests() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->requests;
}

int RequestServer::connections() const {
  return ThePipes().Connections(kRequestPipe) - impl_->connections_before;
}

struct NotifyServer::Impl {
  int served = ThePipes().Connections(kNotifyPipe);
};

NotifyServer::NotifyServer() : impl_(std::make_unique<Impl>()) { ThePipes().Listen(kNotifyPipe); }

NotifyServer::~NotifyServer() {
  ThePipes().Remove(kNotifyPipe);
  ThePipes().CloseConnections(kNotifyPipe);
}

void NotifyServer::WaitForClient() {
  const auto end = std::chrono::steady_clock::now() + testing::kPatience;
  while (ThePipes().Connections(kNotifyPipe) == impl_->served) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("no client connects");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  impl_->served = ThePipes().Connections(kNotifyPipe);
}

void NotifyServer::Send(const Bytes& message) { ThePipes().Send(kNotifyPipe, message); }

void NotifyServer::Disconnect() { ThePipes().BreakConnections(kNotifyPipe); }

struct BusyPipe::Impl {
  std::wstring_view name;
};

BusyPipe::BusyPipe(Pipe pipe)
    : impl_(std::make_unique<Impl>(pipe == Pipe::kRequests ? kRequestPipe : kNotifyPipe)) {
  ThePipes().Busy(impl_->name);
}

BusyPipe::~BusyPipe() { ThePipes().Remove(impl_->name); }

struct Machine::Impl {
  scripted::Machine machine;
};

Machine::Machine() : impl_(std::make_unique<Impl>()) {}

Machine::~Machine() = default;

void Machine::InstallDriver(const std::wstring& version, const std::wstring& hardware_id) {
  scripted::TheDrivers().rows.push_back(
      {{L"HardwareID", {.text = hardware_id}}, {L"DriverVersion", {.text = version}}});
}

void Machine::RemoveDrivers() { scripted::TheDrivers().rows.clear(); }

std::wstring Machine::AddPackage(const std::wstring& name, std::string_view inf) {
  return impl_->machine.AddPackage(name, inf);
}

std::wstring Machine::AddPackageOfVersion(const std::wstring& name, const std::string& version) {
  return impl_->machine.AddPackageOfVersion(name, version);
}

void Machine::AddLibrary(const std::wstring& package, const std::wstring& file,
                         Algorithm algorithm) {
  switch (algorithm) {
    case Algorithm::kAnswers:
      return scripted::Machine::AddLibrary(package, file);
    case Algorithm::kRefuses:
      return scripted::Machine::AddLibrary(package, file, scripted::Fails);
    case Algorithm::kWithoutEntry:
      return scripted::Machine::AddLibrary(package, file, nullptr);
    case Algorithm::kDoesNotLoad:
      // In the folder, and nothing that can be loaded.
      scripted::TheDirectories().directories[package].entries.push_back(file);
  }
}

void Machine::RemoveStore() { scripted::TheDirectories().directories.clear(); }

void Machine::RemoveSystemRoot() { scripted::TheEnvironment().variables.clear(); }

bool Machine::WasAsked() { return !std::exchange(scripted::TheDrivers().calls, {}).empty(); }

std::wstring Machine::LibraryDirectory() const {
  constexpr std::wstring_view kCall = L"SetLibraryDirectory ";
  std::wstring directory;
  for (const std::wstring& call : scripted::TheModules().calls) {
    if (call.starts_with(kCall)) directory = call.substr(kCall.size());
  }
  return directory;
}

}  // namespace zor::rig
