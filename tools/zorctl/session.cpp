#include "tools/zorctl/session.h"

#include <utility>

namespace zor::ctl {
namespace {

/// An instance by its handle. It outlives the command: another one destroys it.
class KnownInstance {
 public:
  KnownInstance(const Client& client, std::uint32_t handle) : instance_(client, handle) {}
  KnownInstance(const KnownInstance&) = delete;
  KnownInstance& operator=(const KnownInstance&) = delete;
  ~KnownInstance() { instance_.Abandon(); }

  Instance* operator->() noexcept { return &instance_; }

 private:
  Instance instance_;
};

const char* TextOrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

}  // namespace

Outcome Session::Make(const Call& call) {
  std::error_code error;
  Payload payload = std::visit([&](const auto& one) { return Send(one, error); }, call);
  // A call that failed has no outputs.
  if (error) payload = {};
  return {static_cast<ZorResult>(error.value()), std::move(payload)};
}

Payload Session::Send(const InfoCall& /*call*/, std::error_code& error) {
  const ZorServerInfo info = client_.GetInfo(error);
  return Information{{info.info0, info.info1, info.info2, info.info3}};
}

Payload Session::Send(const ListCall& call, std::error_code& error) {
  NameList names = client_.Enumerate(call.selector, error);
  if (!error && call.selector == kAlgorithms) listed_ = true;
  return names;
}

Payload Session::Send(const CreateCall& call, std::error_code& error) {
  Instance created = client_.Create(call.name, TextOrNull(call.value), error);
  if (!created) return {};
  last_handle_ = created.Release();
  return Handle{*last_handle_};
}

Payload Session::Send(const ConfigCall& call, std::error_code& error) {
  KnownInstance(client_, call.handle)->Config(call.name, TextOrNull(call.value), error);
  return {};
}

Payload Session::Send(const ControlCall& call, std::error_code& error) {
  KnownInstance instance(client_, call.handle);
  switch (call.control) {
    case Control::kStart:
      instance->Start(error);
      break;
    case Control::kStop:
      instance->Stop(error);
      break;
    case Control::kDestroy:
      instance->Destroy(error);
      break;
  }
  return {};
}

Payload Session::Send(const SetCall& call, std::error_code& error) {
  PrepareTranslation(call.name, call.no_list, error);
  if (!error) KnownInstance(client_, call.handle)->Set(call.name, call.value, error);
  return {};
}

Payload Session::Send(const GetCall& call, std::error_code& error) {
  PrepareTranslation(call.name, call.no_list, error);
  if (error) return {};
  return ParameterValue{call.name, KnownInstance(client_, call.handle)->Get(call.name, error)};
}

Payload Session::Send(const StatusCall& call, std::error_code& error) {
  return Status{KnownInstance(client_, call.handle)->GetStatus(error)};
}

Payload Session::Send(const BlobSetCall& call, std::error_code& error) {
  KnownInstance(client_, call.handle)->SetSerialized(call.name, call.bytes, error);
  return {};
}

Payload Session::Send(const BlobGetCall& call, std::error_code& error) {
  const Blob blob = KnownInstance(client_, call.handle)->GetSerialized(call.name, error);
  return Block{.name = call.name, .bytes = {blob.begin(), blob.end()}, .file = call.file};
}

void Session::PrepareTranslation(std::string_view parameter, bool no_list, std::error_code& error) {
  if (parameter != kAlgorithmParameter || no_list || listed_) return;
  Send(ListCall{}, error);
}

}  // namespace zor::ctl
