// The built library, loaded from outside, on real pipes.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>

#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/handle.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/integration/support/server_end.h"
#include "tests/rig/rig.h"

namespace zor::rig {

using testing::kNotifyPipe;
using testing::kRequestPipe;

struct Rig::Impl {
  testing::DebugCapture capture;
  std::size_t ends_before = testing::ClientPipeEnds().size();
};

Rig::Rig() : impl_(std::make_unique<Impl>()) {}

Rig::~Rig() = default;

testing::CapturedLog& Rig::log() { return testing::DebugCapture::Log(); }

std::size_t Rig::PipeEnds() const { return testing::ClientPipeEnds().size() - impl_->ends_before; }

struct Library::Impl {
  testing::LoadedLibrary library;
};

Library::Library() : impl_(std::make_unique<Impl>()) {}

Library::~Library() = default;

const testing::Exports& Library::exports() const { return impl_->library.exports(); }

void Library::Unload() { impl_->library.Unload(); }

struct RequestServer::Impl {
  // A client that comes back finds the second while the first is still being ended.
  testing::RequestServer server{2};
};

RequestServer::RequestServer() : impl_(std::make_unique<Impl>()) {}

RequestServer::~RequestServer() = default;

void RequestServer::Answer(std::vector<Bytes> messages) {
  impl_->server.Answer(std::move(messages));
}

void RequestServer::HangUp() { impl_->server.HangUp(); }

std::vector<Bytes> RequestServer::Requests() const { return impl_->server.Requests(); }

int RequestServer::connections() const { return impl_->server.connections(); }

struct NotifyServer::Impl {
  testing::ServerEnd end{kNotifyPipe};
};

NotifyServer::NotifyServer() : impl_(std::make_unique<Impl>()) {}

NotifyServer::~NotifyServer() = default;

void NotifyServer::WaitForClient() {
  if (!impl_->end.WaitForClient()) throw std::runtime_error("no client connects");
}

void NotifyServer::Send(const Bytes& message) {
  if (!impl_->end.Write(message)) throw std::runtime_error("the notification cannot be sent");
}

void NotifyServer::Disconnect() { impl_->end.Disconnect(); }

struct BusyPipe::Impl {
  explicit Impl(const wchar_t* name)
      : server(name, {.instances = 1}),
        other(testing::Require(
            CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            "CreateFile")) {}

  testing::ServerEnd server;
  testing::UniqueHandle other;
};

BusyPipe::BusyPipe(Pipe pipe)
    : impl_(std::make_unique<Impl>(pipe == Pipe::kRequests ? kRequestPipe : kNotifyPipe)) {}

BusyPipe::~BusyPipe() = default;

struct Machine::Impl {
  testing::Com com;
  testing::WmiStandIn management;
  testing::Machine machine;
};

Machine::Machine() : impl_(std::make_unique<Impl>()) {}

Machine::~Machine() { EXPECT_EQ(impl_->management.live_objects, 0); }

void Machine::InstallDriver(const std::wstring& version, const std::wstring& hardware_id) {
  impl_->management.rows.push_back(
      {{L"HardwareID", {.text = hardware_id}}, {L"DriverVersion", {.text = version}}});
}

void Machine::RemoveDrivers() { impl_->management.rows.clear(); }

std::wstring Machine::AddPackage(const std::wstring& name, std::string_view inf) {
  return impl_->machine.AddPackage(name, inf).wstring();
}

std::wstring Machine::AddPackageOfVersion(const std::wstring& name, const std::string& version) {
  return impl_->machine.AddPackageOfVersion(name, version).wstring();
}

void Machine::AddLibrary(const std::wstring& package, const std::wstring& file,
                         Algorithm algorithm) {
  static const std::map<Algorithm, const wchar_t*> kBuilt = {
      {Algorithm::kAnswers, L"zor_test_answers.dll"},
      {Algorithm::kRefuses, L"zor_test_refuses.dll"},
      {Algorithm::kWithoutEntry, L"zor_test_without_entry.dll"},
      {Algorithm::kDoesNotLoad, L"zor_test_does_not_load.dll"}};
  testing::Machine::AddLibrary(package, file, kBuilt.at(algorithm));
}

void Machine::RemoveStore() { std::filesystem::remove_all(impl_->machine.root()); }

void Machine::RemoveSystemRoot() { SetEnvironmentVariableW(L"systemroot", nullptr); }

bool Machine::WasAsked() { return !std::exchange(impl_->management.calls, {}).empty(); }

std::wstring Machine::LibraryDirectory() const {
  return std::filesystem::path(testing::LibraryDirectory()).wstring();
}

}  // namespace zor::rig
