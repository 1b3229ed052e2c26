// The built library, loaded from outside, on real pipes.
#include <stdexcept>
#include <utility>

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

}  // namespace zor::rig
