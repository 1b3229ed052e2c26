#include "tests/hostile/support/remote_calls.h"

#include <string_view>

#include "tests/kit/system.h"

namespace zor::hostile {
namespace {

using messages::CallMessage;
using testing::Exports;

// As many as a test can afford to be asked for, and more than any server has.
constexpr std::uint32_t kMostSlots = 1U << 20;

std::string Listed(const ZorNameList& list) {
  std::string all;
  for (std::uint32_t i = 0; i < list.count; ++i) {
    all += list.items[i] == nullptr ? "(null)" : list.items[i];
    all += '\n';
  }
  return all;
}

const CallMessage* Verified(const Bytes& reply) {
  constexpr std::size_t kLeast = 5;
  if (reply.size() < kLeast) return nullptr;
  const auto root = flatbuffers::ReadScalar<flatbuffers::uoffset_t>(reply.data());
  if (root >= reply.size()) return nullptr;
  flatbuffers::Verifier verifier(reply.data(), reply.size());
  const auto* message = flatbuffers::GetRoot<CallMessage>(reply.data());
  return message->Verify(verifier) ? message : nullptr;
}

/// A block that claims more bytes than it brings.
bool Lies(const messages::BlobParam* block) {
  return block != nullptr && block->size() > 0 &&
         (block->data() == nullptr || block->data()->size() < block->size());
}

bool Is(const RemoteCall& remote, std::string_view name) { return remote.name == name; }

}  // namespace

Records::Records(Edge edge)
    : info(edge),
      handle(edge),
      status(edge),
      param(edge),
      list(edge),
      output(edge),
      text(edge),
      input(edge) {
  param->name = name_.get();
  *list = {};
  *text = {name_.get(), value_.get()};
  *input = {name_.get(), 3, reinterpret_cast<std::uint8_t*>(data_.get())};
  Remember();
}

void Records::Remember() {
  info.Remember();
  handle.Remember();
  status.Remember();
  param.Remember();
  list.Remember();
  output.Remember();
  text.Remember();
  input.Remember();
  listed_ = Listed(*list);
}

bool Records::Untouched() const {
  return info.Untouched() && handle.Untouched() && status.Untouched() && param.Untouched() &&
         list.Untouched() && output.Untouched() && text.Untouched() && input.Untouched() &&
         Listed(*list) == listed_;
}

bool Records::OnlyOutputsTouched() const {
  return info.AloneTouched() && handle.AloneTouched() && status.AloneTouched() &&
         param.AloneTouched() && list.AloneTouched() && output.AloneTouched() && text.Untouched() &&
         input.Untouched() && param->name == name_.get();
}

void Records::ReleaseOutput(const Exports& library) {
  if (output.Untouched()) return;
  library.FreeSerialized(0, &*output);
  testing::Free(output->name);
  output.Restore();
}

bool Took(const RemoteCall& remote, const CallMessage& reply, const Records& records) {
  return remote.took(reply, records.All()).value_or(records.Untouched());
}

Judgement Judge(const RemoteCall& remote, const Bytes& reply) {
  const std::string tag = std::string("[zor] [") + remote.tag + "] ";
  const CallMessage* message = Verified(reply);
  if (message == nullptr) {
    return {.result = ZOR_TRANSPORT_FAILURE, .log = tag + "The IPC gotten data is invalid\n"};
  }
  if (message->result() != 0) {
    const auto shown = static_cast<std::int32_t>(message->result());
    return {.result = message->result(),
            .log = tag + "The ZorRet: " + std::to_string(shown) + "\n"};
  }
  if (Is(remote, "ZorIntfGetSerialized") && Lies(message->blob_result())) {
    return {.result = ZOR_TRANSPORT_FAILURE};
  }
  const auto* list = message->enum_result();
  return {.taken = message,
          .is_too_long_a_list =
              Is(remote, "ZorIntfEnum") && list != nullptr && list->count() > kMostSlots};
}

}  // namespace zor::hostile
