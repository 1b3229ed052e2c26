#include "tests/kit/remote_calls.h"

#include <bit>
#include <cstring>
#include <string_view>

#include "tests/kit/system.h"

namespace zor::testing {
namespace {

using messages::CallMessage;

constexpr int kPattern = 0xA5;
constexpr std::uint32_t kInstance = 5;
constexpr std::uint32_t kPlainList = 0;

Bytes PlainReply() { return Build(Reply{}); }

Bytes ParamReply() { return Build(Reply{.float_param = 2.5F}); }

std::optional<bool> TookNothing(const CallMessage& /*reply*/, const CallRecords& /*records*/) {
  return std::nullopt;
}

std::optional<bool> TookInfo(const CallMessage& reply, const CallRecords& records) {
  const messages::ServerInfo none(0, 0, 0, 0);
  const messages::ServerInfo& words = reply.server_info() == nullptr ? none : *reply.server_info();
  return records.info->info0 == words.info0() && records.info->info1 == words.info1() &&
         records.info->info2 == words.info2() && records.info->info3 == words.info3();
}

std::optional<bool> TookParam(const CallMessage& reply, const CallRecords& records) {
  if (reply.float_param() == nullptr) return std::nullopt;
  return std::bit_cast<std::uint32_t>(records.param->value) ==
         std::bit_cast<std::uint32_t>(reply.float_param()->value());
}

std::optional<bool> TookList(const CallMessage& reply, const CallRecords& records) {
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

std::optional<bool> TookBlock(const CallMessage& reply, const CallRecords& records) {
  const auto* block = reply.blob_result();
  if (block == nullptr) return std::nullopt;
  const ZorBlob& output = *records.output;
  return output.size == block->size() &&
         std::string_view(output.name) == std::string_view(records.input->name) &&
         (block->size() == 0 ||
          std::memcmp(output.data, block->data()->data(), block->size()) == 0);
}

const std::array<RemoteCall, 12> kRemoteCalls{{
    {.name = "ZorIntfConfig",
     .tag = "RpcClient::ZorIntfConfig",
     .call = [](const Exports& library,
                const CallRecords& records) { return library.Config(kInstance, records.text); },
     .reply = PlainReply,
     .took = TookNothing},
    {.name = "ZorIntfCreate",
     .tag = "RpcClient::ZorIntfCreate",
     .call =
         [](const Exports& library, const CallRecords& records) {
           return library.Create(records.handle, records.text);
         },
     .reply = [] { return Build(Reply{.handle = 77}); },
     .took = [](const CallMessage& reply, const CallRecords& records) -> std::optional<bool> {
       return *records.handle == reply.handle();
     }},
    {.name = "ZorIntfDestroy",
     .tag = "ZorIntfDestroy",
     .call = [](const Exports& library,
                const CallRecords& /*records*/) { return library.Destroy(kInstance); },
     .reply = PlainReply,
     .took = TookNothing},
    {.name = "ZorIntfEnum",
     .tag = "RpcClient::ZorIntfEnum",
     .call = [](const Exports& library,
                const CallRecords& records) { return library.Enum(kPlainList, records.list); },
     .reply =
         [] {
           return Build(ListOf({"general", "private"}));
         },
     .took = TookList,
     .handed_out = 3},
    {.name = "ZorIntfGet",
     .tag = "ZorIntfGet",
     .call = [](const Exports& library,
                const CallRecords& records) { return library.Get(kInstance, records.param); },
     .reply = ParamReply,
     .took = TookParam},
    {.name = "ZorIntfGetInfo",
     .tag = "RpcClient::ZorIntfGetInfo",
     .call = [](const Exports& library,
                const CallRecords& records) { return library.GetInfo(records.info); },
     .reply = [] { return Build(Reply{.server_info = messages::ServerInfo(1, 2, 3, 4)}); },
     .took = TookInfo},
    {.name = "ZorIntfGetSerialized",
     .tag = "ZorIntfGetSerialized",
     .call =
         [](const Exports& library, const CallRecords& records) {
           return library.GetSerialized(kInstance, records.input, records.output);
         },
     .reply =
         [] {
           return Build(Reply{.blob_result = Reply::Block{"other", 3, Bytes{7, 8, 9}}});
         },
     .took = TookBlock,
     .allocations = 2,  // the copy of the block that is sent is the second
     .handed_out = 2},
    {.name = "ZorIntfGetStatus",
     .tag = "RpcClient::ZorIntfGetStatus",
     .call =
         [](const Exports& library, const CallRecords& records) {
           return library.GetStatus(kInstance, records.status);
         },
     .reply = [] { return Build(Reply{.status = 255}); },
     .took = [](const CallMessage& reply, const CallRecords& records) -> std::optional<bool> {
       return *records.status == reply.status();
     }},
    {.name = "ZorIntfSet",
     .tag = "ZorIntfSet",
     .call = [](const Exports& library,
                const CallRecords& records) { return library.Set(kInstance, records.param); },
     .reply = ParamReply,
     .took = TookParam},
    {.name = "ZorIntfSetSerialized",
     .tag = "ZorIntfSetSerialized",
     .call =
         [](const Exports& library, const CallRecords& records) {
           return library.SetSerialized(kInstance, records.input);
         },
     .reply = PlainReply,
     .took = TookNothing,
     .allocations = 2},
    {.name = "ZorIntfStart",
     .tag = "ZorIntfStart",
     .call = [](const Exports& library,
                const CallRecords& /*records*/) { return library.Start(kInstance); },
     .reply = PlainReply,
     .took = TookNothing},
    {.name = "ZorIntfStop",
     .tag = "ZorIntfStop",
     .call = [](const Exports& library,
                const CallRecords& /*records*/) { return library.Stop(kInstance); },
     .reply = PlainReply,
     .took = TookNothing},
}};

char* CopyOf(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(Allocate(size), text, size));
}

}  // namespace

std::span<const RemoteCall> RemoteCalls() { return kRemoteCalls; }

void PrintTo(const RemoteCall& remote, std::ostream* out) { *out << remote.name; }

OwnedOutputs::OwnedOutputs() {
  std::memset(&outputs_, kPattern, sizeof(outputs_));
  outputs_.param.name = "gain";
  outputs_.list.count = 1;
  outputs_.list.items = static_cast<char**>(Allocate(sizeof(char*)));
  outputs_.list.items[0] = CopyOf("kept");
  std::memcpy(&original_, &outputs_, sizeof(outputs_));
}

OwnedOutputs::~OwnedOutputs() {
  for (char* name : std::span(outputs_.list.items, outputs_.list.count)) Free(name);
  Free(outputs_.list.items);
  if (outputs_.blob.name != original_.blob.name) Free(outputs_.blob.name);
  if (outputs_.blob.data != original_.blob.data) Free(outputs_.blob.data);
}

CallRecords OwnedOutputs::records() {
  static char name[] = "preset";
  static std::uint8_t data[] = {1, 2, 3};
  static constexpr ZorTextParam kText{"reverb", "hall"};
  static constexpr ZorBlob kInput{name, sizeof(data), data};
  return {&outputs_.info, &outputs_.handle, &outputs_.status, &outputs_.param,
          &outputs_.list, &outputs_.blob,   &kText,           &kInput};
}

bool OwnedOutputs::Untouched() const {
  return std::memcmp(&outputs_, &original_, sizeof(outputs_)) == 0 &&
         std::strcmp(outputs_.list.items[0], "kept") == 0;
}

bool OwnedOutputs::CanariesIntact() const {
  return outputs_.before == original_.before && outputs_.after == original_.after;
}

}  // namespace zor::testing
