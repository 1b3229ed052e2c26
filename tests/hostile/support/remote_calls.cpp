#include "tests/hostile/support/remote_calls.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <string_view>

#include "tests/integration/support/wire.h"

namespace zor::hostile {
namespace {

using messages::CallMessage;
using testing::Exports;

constexpr std::uint32_t kInstance = 5;
constexpr std::uint32_t kPlainList = 0;

// As many as a test can afford to be asked for, and more than any server has.
constexpr std::uint32_t kMostSlots = 1U << 20;

bool TookNothing(const CallMessage& /*reply*/, const Records& records) {
  return records.Untouched();
}

bool TookInfo(const CallMessage& reply, const Records& records) {
  const messages::ServerInfo none(0, 0, 0, 0);
  const messages::ServerInfo& words = reply.server_info() == nullptr ? none : *reply.server_info();
  return records.info->info0 == words.info0() && records.info->info1 == words.info1() &&
         records.info->info2 == words.info2() && records.info->info3 == words.info3();
}

bool TookParam(const CallMessage& reply, const Records& records) {
  if (reply.float_param() == nullptr) return records.Untouched();
  return std::bit_cast<std::uint32_t>(records.param->value) ==
         std::bit_cast<std::uint32_t>(reply.float_param()->value());
}

bool TookList(const CallMessage& reply, const Records& records) {
  const ZorNameList& list = *records.list;
  const auto* answer = reply.enum_result();
  const std::uint32_t count = answer == nullptr ? 0 : answer->count();
  if (list.count != count) return false;
  if (count == 0) return list.items == nullptr;
  const auto* names = answer->names();
  for (std::uint32_t i = 0; i < count; ++i) {
    const char* item = list.items[i];
    if (names == nullptr || i >= names->size()) {
      if (item != nullptr) return false;
    } else if (std::string_view(item) != std::string_view(names->Get(i)->c_str())) {
      return false;
    }
  }
  return true;
}

bool TookBlock(const CallMessage& reply, const Records& records) {
  const auto* block = reply.blob_result();
  if (block == nullptr) return records.Untouched();
  const ZorBlob& output = *records.output;
  return output.size == block->size() &&
         std::string_view(output.name) == std::string_view(records.input->name) &&
         (block->size() == 0 ||
          std::memcmp(output.data, block->data()->data(), block->size()) == 0);
}

Bytes ParamReply() { return testing::FloatReply(2.5F); }

const std::array<RemoteCall, 12> kRemoteCalls{{
    {"ZorIntfConfig", "RpcClient::ZorIntfConfig",
     [](const Exports& library, const Records& records) {
       return library.Config(kInstance, &*records.text);
     },
     testing::SuccessReply, TookNothing},
    {"ZorIntfCreate", "RpcClient::ZorIntfCreate",
     [](const Exports& library, const Records& records) {
       return library.Create(&*records.handle, &*records.text);
     },
     [] { return testing::HandleReply(77); },
     [](const CallMessage& reply, const Records& records) {
       return *records.handle == reply.handle();
     }},
    {"ZorIntfDestroy", "ZorIntfDestroy",
     [](const Exports& library, const Records&) { return library.Destroy(kInstance); },
     testing::SuccessReply, TookNothing},
    {"ZorIntfEnum", "RpcClient::ZorIntfEnum",
     [](const Exports& library, const Records& records) {
       return library.Enum(kPlainList, &*records.list);
     },
     [] {
       return testing::EnumReply(2, {"general", "private"});
     },
     TookList},
    {"ZorIntfGet", "ZorIntfGet",
     [](const Exports& library, const Records& records) {
       return library.Get(kInstance, &*records.param);
     },
     ParamReply, TookParam},
    {"ZorIntfGetInfo", "RpcClient::ZorIntfGetInfo",
     [](const Exports& library, const Records& records) { return library.GetInfo(&*records.info); },
     [] { return testing::InfoReply(1, 2, 3, 4); }, TookInfo},
    {"ZorIntfGetSerialized", "ZorIntfGetSerialized",
     [](const Exports& library, const Records& records) {
       return library.GetSerialized(kInstance, &*records.input, &*records.output);
     },
     [] {
       return testing::BlobReply("other", 5, Bytes{7, 8, 9, 10, 11});
     },
     TookBlock},
    {"ZorIntfGetStatus", "RpcClient::ZorIntfGetStatus",
     [](const Exports& library, const Records& records) {
       return library.GetStatus(kInstance, &*records.status);
     },
     [] { return testing::StatusReply(0xFF); },
     [](const CallMessage& reply, const Records& records) {
       return *records.status == reply.status();
     }},
    {"ZorIntfSet", "ZorIntfSet",
     [](const Exports& library, const Records& records) {
       return library.Set(kInstance, &*records.param);
     },
     ParamReply, TookParam},
    {"ZorIntfSetSerialized", "ZorIntfSetSerialized",
     [](const Exports& library, const Records& records) {
       return library.SetSerialized(kInstance, &*records.input);
     },
     testing::SuccessReply, TookNothing},
    {"ZorIntfStart", "ZorIntfStart",
     [](const Exports& library, const Records&) { return library.Start(kInstance); },
     testing::SuccessReply, TookNothing},
    {"ZorIntfStop", "ZorIntfStop",
     [](const Exports& library, const Records&) { return library.Stop(kInstance); },
     testing::SuccessReply, TookNothing},
}};

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
  library.FreeSerialized(kInstance, &*output);
  std::free(output->name);  // NOLINT: the library's own malloc
  output.Restore();
}

std::span<const RemoteCall> RemoteCalls() { return kRemoteCalls; }

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
  if (remote.took == TookBlock && Lies(message->blob_result())) {
    return {.result = ZOR_TRANSPORT_FAILURE};
  }
  const auto* list = message->enum_result();
  return {.taken = message,
          .is_too_long_a_list =
              remote.took == TookList && list != nullptr && list->count() > kMostSlots};
}

}  // namespace zor::hostile
