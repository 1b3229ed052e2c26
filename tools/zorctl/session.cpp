#include "tools/zorctl/session.h"

#include <cstdlib>
#include <memory>
#include <utility>

namespace zor::ctl {
namespace {

/// A block that ZorIntfGetSerialized() filled.
class FilledBlob {
 public:
  FilledBlob() = default;
  FilledBlob(const FilledBlob&) = delete;
  FilledBlob& operator=(const FilledBlob&) = delete;
  ~FilledBlob() {
    ZorIntfFreeSerialized(0, &blob_);
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory): C's contract
    std::free(blob_.name);
  }

  [[nodiscard]] ZorBlob* receive() noexcept { return &blob_; }
  [[nodiscard]] const ZorBlob& get() const noexcept { return blob_; }

 private:
  ZorBlob blob_{};
};

const char* TextOrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

Outcome With(ZorResult result, Payload payload) {
  // A call that failed has no outputs.
  if (result != ZOR_SUCCESS) return {.result = result, .payload = {}};
  return {.result = result, .payload = std::move(payload)};
}

}  // namespace

Outcome Session::Make(const Call& call) {
  return std::visit([this](const auto& one) { return Send(one); }, call);
}

Outcome Session::Send(const InfoCall& /*call*/) {
  ZorServerInfo info{};
  const ZorResult result = ZorIntfGetInfo(&info);
  return With(result, Information{{info.info0, info.info1, info.info2, info.info3}});
}

Outcome Session::Send(const ListCall& call) {
  const ZorResult result = ZorIntfEnum(call.selector, &list_);
  if (result != ZOR_SUCCESS) return With(result, {});
  if (call.selector == kAlgorithms) listed_ = true;
  NameSlots slots;
  for (std::uint32_t i = 0; i < list_.count; ++i) {
    const char* name = list_.items[i];
    slots.names.push_back(name == nullptr ? std::nullopt : std::optional<std::string>(name));
  }
  return With(result, std::move(slots));
}

Outcome Session::Send(const CreateCall& call) {
  const ZorTextParam param{call.name.c_str(), TextOrNull(call.value)};
  std::uint32_t handle = 0;
  const ZorResult result = ZorIntfCreate(&handle, &param);
  if (result == ZOR_SUCCESS) last_handle_ = handle;
  return With(result, Handle{handle});
}

Outcome Session::Send(const ConfigCall& call) {
  const ZorTextParam param{call.name.c_str(), TextOrNull(call.value)};
  return With(ZorIntfConfig(call.handle, &param), {});
}

Outcome Session::Send(const ControlCall& call) {
  switch (call.control) {
    case Control::kStart:
      return With(ZorIntfStart(call.handle), {});
    case Control::kStop:
      return With(ZorIntfStop(call.handle), {});
    case Control::kDestroy:
      break;
  }
  return With(ZorIntfDestroy(call.handle), {});
}

Outcome Session::Send(const SetCall& call) {
  const ZorResult prepared = PrepareTranslation(call.name, call.no_list);
  if (prepared != ZOR_SUCCESS) return With(prepared, {});
  ZorFloatParam param{call.name.c_str(), call.value};
  return With(ZorIntfSet(call.handle, &param), {});
}

Outcome Session::Send(const GetCall& call) {
  const ZorResult prepared = PrepareTranslation(call.name, call.no_list);
  if (prepared != ZOR_SUCCESS) return With(prepared, {});
  ZorFloatParam param{call.name.c_str(), 0};
  const ZorResult result = ZorIntfGet(call.handle, &param);
  return With(result, ParameterValue{call.name, param.value});
}

Outcome Session::Send(const StatusCall& call) {
  std::uint32_t status = 0;
  const ZorResult result = ZorIntfGetStatus(call.handle, &status);
  return With(result, Status{status});
}

Outcome Session::Send(const BlobSetCall& call) {
  // The record's members are not const, but the library only reads them: work on copies.
  std::string name = call.name;
  std::vector<std::uint8_t> bytes = call.bytes;
  const ZorBlob blob{name.data(), static_cast<std::uint32_t>(bytes.size()), bytes.data()};
  return With(ZorIntfSetSerialized(call.handle, &blob), {});
}

Outcome Session::Send(const BlobGetCall& call) {
  std::string name = call.name;
  const ZorBlob wanted{name.data(), 0, nullptr};
  FilledBlob got;
  const ZorResult result = ZorIntfGetSerialized(call.handle, &wanted, got.receive());
  if (result != ZOR_SUCCESS) return With(result, {});
  const ZorBlob& blob = got.get();
  Block block{.name = call.name, .bytes = {}, .file = call.file};
  if (blob.data != nullptr) block.bytes.assign(blob.data, blob.data + blob.size);
  return With(result, std::move(block));
}

ZorResult Session::PrepareTranslation(std::string_view parameter, bool no_list) {
  if (parameter != kAlgorithmParameter || no_list || listed_) return ZOR_SUCCESS;
  return Send(ListCall{}).result;
}

}  // namespace zor::ctl
