#include "tests/support/remote_exports.h"

#include <algorithm>
#include <cstring>

#include "platform/heap.h"

namespace zor::scripted {
namespace {

constexpr std::uint8_t kPattern = 0xA5;
constexpr std::uint32_t kInstance = 5;

char* CopyOf(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(platform::HeapAllocate(size), text, size));
}

ZorBlob InputBlock() {
  static char name[] = "preset";
  static std::uint8_t data[] = {1, 2, 3};
  return {name, sizeof(data), data};
}

constexpr ZorTextParam kText{"reverb", "hall"};

Bytes PlainReply() { return Build(Reply{}); }

Bytes ParamReply() { return Build(Reply{.float_param = 2.5F}); }

const std::array<RemoteExport, 12> kRemoteExports{{
    {.name = "ZorIntfConfig",
     .tag = "RpcClient::ZorIntfConfig",
     .call = [](Outputs&) { return ZorIntfConfig(kInstance, &kText); },
     .reply = PlainReply,
     .allocations = 1},
    {.name = "ZorIntfCreate",
     .tag = "RpcClient::ZorIntfCreate",
     .call = [](Outputs& outputs) { return ZorIntfCreate(&outputs.handle, &kText); },
     .reply = [] { return Build(Reply{.handle = 77}); },
     .allocations = 1},
    {.name = "ZorIntfDestroy",
     .tag = "ZorIntfDestroy",
     .call = [](Outputs&) { return ZorIntfDestroy(kInstance); },
     .reply = PlainReply,
     .allocations = 1},
    {.name = "ZorIntfEnum",
     .tag = "RpcClient::ZorIntfEnum",
     .call = [](Outputs& outputs) { return ZorIntfEnum(0, &outputs.list); },
     .reply =
         [] {
           return Build(Reply{.enum_result = Reply::Names{2, {{"general", "private"}}}});
         },
     .allocations = 1,
     .handed_out = 3},
    {.name = "ZorIntfGet",
     .tag = "ZorIntfGet",
     .call = [](Outputs& outputs) { return ZorIntfGet(kInstance, &outputs.param); },
     .reply = ParamReply,
     .allocations = 1},
    {.name = "ZorIntfGetInfo",
     .tag = "RpcClient::ZorIntfGetInfo",
     .call = [](Outputs& outputs) { return ZorIntfGetInfo(&outputs.info); },
     .reply = [] { return Build(Reply{.server_info = messages::ServerInfo(1, 2, 3, 4)}); },
     .allocations = 1},
    {.name = "ZorIntfGetSerialized",
     .tag = "ZorIntfGetSerialized",
     .call =
         [](Outputs& outputs) {
           const ZorBlob input = InputBlock();
           return ZorIntfGetSerialized(kInstance, &input, &outputs.blob);
         },
     .reply =
         [] {
           return Build(Reply{.blob_result = Reply::Block{"other", 3, Bytes{7, 8, 9}}});
         },
     .allocations = 2,  // the copy of the block that is sent is the second
     .handed_out = 2},
    {.name = "ZorIntfGetStatus",
     .tag = "RpcClient::ZorIntfGetStatus",
     .call = [](Outputs& outputs) { return ZorIntfGetStatus(kInstance, &outputs.status); },
     .reply = [] { return Build(Reply{.status = 255}); },
     .allocations = 1},
    {.name = "ZorIntfSet",
     .tag = "ZorIntfSet",
     .call = [](Outputs& outputs) { return ZorIntfSet(kInstance, &outputs.param); },
     .reply = ParamReply,
     .allocations = 1},
    {.name = "ZorIntfSetSerialized",
     .tag = "ZorIntfSetSerialized",
     .call =
         [](Outputs&) {
           const ZorBlob input = InputBlock();
           return ZorIntfSetSerialized(kInstance, &input);
         },
     .reply = PlainReply,
     .allocations = 2},
    {.name = "ZorIntfStart",
     .tag = "ZorIntfStart",
     .call = [](Outputs&) { return ZorIntfStart(kInstance); },
     .reply = PlainReply,
     .allocations = 1},
    {.name = "ZorIntfStop",
     .tag = "ZorIntfStop",
     .call = [](Outputs&) { return ZorIntfStop(kInstance); },
     .reply = PlainReply,
     .allocations = 1},
}};

}  // namespace

OwnedOutputs::OwnedOutputs() {
  std::memset(&outputs_, kPattern, sizeof(outputs_));
  outputs_.param.name = "gain";
  outputs_.list.count = 1;
  outputs_.list.items = static_cast<char**>(platform::HeapAllocate(sizeof(char*)));
  outputs_.list.items[0] = CopyOf("kept");
  std::memcpy(&original_, &outputs_, sizeof(outputs_));
}

OwnedOutputs::~OwnedOutputs() {
  for (char* name : std::span(outputs_.list.items, outputs_.list.count)) platform::HeapFree(name);
  platform::HeapFree(outputs_.list.items);
  if (outputs_.blob.name != original_.blob.name) platform::HeapFree(outputs_.blob.name);
  if (outputs_.blob.data != original_.blob.data) platform::HeapFree(outputs_.blob.data);
}

bool OwnedOutputs::Untouched() const {
  return std::memcmp(&outputs_, &original_, sizeof(outputs_)) == 0 &&
         std::strcmp(outputs_.list.items[0], "kept") == 0;
}

bool OwnedOutputs::CanariesIntact() const {
  return outputs_.before == original_.before && outputs_.after == original_.after;
}

std::span<const RemoteExport> RemoteExports() { return kRemoteExports; }

void PrintTo(const RemoteExport& remote, std::ostream* out) { *out << remote.name; }

}  // namespace zor::scripted
