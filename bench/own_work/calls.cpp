#include "bench/own_work/calls.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/own_work/canned_pipe.h"
#include "interface/library.h"
#include "interface/zor_interface.h"
#include "platform/heap.h"
#include "platform/pipe.h"
#include "zor_messages_generated.h"

namespace zor {

Library& TheLibrary() noexcept {
  static Library library;
  return library;
}

namespace bench {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;
using messages::CallMessage;
using messages::CreateCallMessageDirect;

constexpr std::uint32_t kHandle = 5;
constexpr std::uint8_t kStatus = 7;
constexpr std::uint32_t kBuilderSize = 256;
constexpr std::uint32_t kBlockSize = 512;

ZorServerInfo info;
ZorTextParam text = {"mode", "hall"};
ZorFloatParam param = {"gain", 0.5F};
ZorNameList list;
std::uint32_t number;
std::array<std::uint8_t, kBlockSize> block_bytes;
char block_name[] = "preset";
ZorBlob input = {block_name, kBlockSize, block_bytes.data()};
ZorBlob output;

void Require(bool ok) {
  if (!ok) std::abort();
}

/// Sets the reply that `build` makes.
template <typename Build>
void Prepare(Build build) {
  static std::vector<std::uint8_t> reply;
  FlatBufferBuilder builder;
  builder.Finish(build(builder));
  reply.assign(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
  SetReply(reply);
}

void PreparePlain() {
  Prepare([](FlatBufferBuilder& builder) { return CreateCallMessageDirect(builder, "reply"); });
}

void PrepareParam() {
  Prepare([](FlatBufferBuilder& builder) {
    const auto value = messages::CreateFloatParamDirect(builder, "gain", 2.5F);
    return CreateCallMessageDirect(builder, "reply", nullptr, 0, 0, value);
  });
}

/// One exchange with nothing around the generated code.
template <typename Build, typename Copy>
void Exchange(std::uint32_t builder_size, Build build, Copy copy) {
  FlatBufferBuilder builder(builder_size);
  builder.Finish(build(builder));
  constexpr auto kPipe = platform::PipeHandle{4};
  Require(platform::PeekPipe(kPipe));
  Require(platform::WritePipe(kPipe, {builder.GetBufferPointer(), builder.GetSize()}));
  alignas(8) std::array<std::uint8_t, 1024> buffer;
  const auto read = platform::ReadPipe(kPipe, buffer);
  const auto* reply = flatbuffers::GetRoot<CallMessage>(buffer.data());
  flatbuffers::Verifier verifier(buffer.data(), read.count, 64, 1'000'000, true);
  Require(reply->Verify(verifier) && reply->result() == 0);
  copy(*reply);
}

void CopyNothing(const CallMessage& /*reply*/) {}

void BareText(const char* name, std::uint32_t handle) {
  Exchange(
      kBuilderSize,
      [&](FlatBufferBuilder& builder) {
        const auto table = messages::CreateTextParamDirect(builder, text.name, text.value);
        return CreateCallMessageDirect(builder, name, nullptr, 0, table, 0, 0, kStatus, 0, handle);
      },
      [](const CallMessage& reply) { number = reply.handle(); });
}

void BareInstance(const char* name) {
  Exchange(
      kBuilderSize,
      [&](FlatBufferBuilder& builder) {
        return CreateCallMessageDirect(builder, name, nullptr, 0, 0, 0, 0, kStatus, 0, kHandle);
      },
      CopyNothing);
}

void BareParam(const char* name) {
  Exchange(
      kBuilderSize,
      [&](FlatBufferBuilder& builder) {
        const auto table = messages::CreateFloatParamDirect(builder, param.name, param.value);
        return CreateCallMessageDirect(builder, name, nullptr, 0, 0, table, 0, kStatus, 0, kHandle);
      },
      [](const CallMessage& reply) { param.value = reply.float_param()->value(); });
}

template <typename Copy>
void BareBlock(const char* name, Copy copy) {
  Exchange(
      kBlockSize + 1024,
      [&](FlatBufferBuilder& builder) {
        const std::vector<std::uint8_t> bytes(input.data, input.data + input.size);
        const auto table = messages::CreateBlobParamDirect(builder, input.name, input.size, &bytes);
        return CreateCallMessageDirect(builder, name, nullptr, 0, 0, 0, 0, kStatus, 0, kHandle, 0,
                                       table);
      },
      copy);
}

void FreeBlock() {
  platform::HeapFree(output.name);
  platform::HeapFree(output.data);
}

char* CopyOf(const char* name, std::size_t length) {
  auto* copy = static_cast<char*>(platform::HeapAllocate(length + 1));
  std::memcpy(copy, name, length + 1);
  return copy;
}

/// What the call before has handed out is freed by the next one, as the library does it.
void FillList(const CallMessage& reply) {
  for (std::uint32_t i = 0; i < list.count; ++i) platform::HeapFree(list.items[i]);
  platform::HeapFree(list.items);
  const auto* names = reply.enum_result()->names();
  list.count = reply.enum_result()->count();
  list.items = static_cast<char**>(platform::HeapAllocate(list.count * sizeof(char*)));
  for (std::uint32_t i = 0; i < list.count; ++i) {
    list.items[i] = CopyOf(names->Get(i)->c_str(), names->Get(i)->size());
  }
}

constexpr std::array<OwnWork, 12> kOwnWorks{{
    {"ZorIntfConfig", PreparePlain, [] { Require(ZorIntfConfig(kHandle, &text) == 0); },
     [] { BareText("ZorIntfConfig", kHandle); }},
    {"ZorIntfCreate",
     [] {
       Prepare([](FlatBufferBuilder& builder) {
         return CreateCallMessageDirect(builder, "reply", nullptr, 0, 0, 0, 0, 0, 0, kHandle);
       });
     },
     [] { Require(ZorIntfCreate(&number, &text) == 0); }, [] { BareText("ZorIntfCreate", 0); }},
    {"ZorIntfDestroy", PreparePlain, [] { Require(ZorIntfDestroy(kHandle) == 0); },
     [] { BareInstance("ZorIntfDestroy"); }},
    {"ZorIntfEnum",
     [] {
       Prepare([](FlatBufferBuilder& builder) {
         const std::vector<std::string> names = {"general", "private", "whisper", "listen"};
         const auto table =
             messages::CreateEnumResult(builder, static_cast<std::uint32_t>(names.size()),
                                        builder.CreateVectorOfStrings(names));
         return CreateCallMessageDirect(builder, "reply", nullptr, table);
       });
     },
     [] { Require(ZorIntfEnum(0, &list) == 0); },
     [] {
       Exchange(
           kBuilderSize,
           [](FlatBufferBuilder& builder) {
             return CreateCallMessageDirect(builder, "ZorIntfEnum", nullptr, 0, 0, 0, 0, kStatus);
           },
           FillList);
     }},
    {"ZorIntfGet", PrepareParam, [] { Require(ZorIntfGet(kHandle, &param) == 0); },
     [] { BareParam("ZorIntfGet"); }},
    {"ZorIntfGetInfo",
     [] {
       Prepare([](FlatBufferBuilder& builder) {
         const messages::ServerInfo words(1, 2, 3, 4);
         return CreateCallMessageDirect(builder, "reply", &words);
       });
     },
     [] { Require(ZorIntfGetInfo(&info) == 0); },
     [] {
       Exchange(
           kBuilderSize,
           [](FlatBufferBuilder& builder) {
             return CreateCallMessageDirect(builder, "ZorIntfGetInfo", nullptr, 0, 0, 0, 0,
                                            kStatus);
           },
           [](const CallMessage& reply) {
             const auto* words = reply.server_info();
             info = {words->info0(), words->info1(), words->info2(), words->info3()};
           });
     }},
    {"ZorIntfGetSerialized",
     [] {
       Prepare([](FlatBufferBuilder& builder) {
         const std::vector<std::uint8_t> bytes(kBlockSize);
         const auto table = messages::CreateBlobParamDirect(builder, "preset", kBlockSize, &bytes);
         return CreateCallMessageDirect(builder, "reply", nullptr, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                        table);
       });
     },
     [] {
       Require(ZorIntfGetSerialized(kHandle, &input, &output) == 0);
       FreeBlock();
     },
     [] {
       BareBlock("ZorIntfGetSerialized", [](const CallMessage& reply) {
         const auto* answer = reply.blob_result();
         output.name = CopyOf(input.name, std::strlen(input.name));
         output.size = answer->size();
         output.data = static_cast<std::uint8_t*>(platform::HeapAllocate(output.size));
         std::memcpy(output.data, answer->data()->data(), output.size);
       });
       FreeBlock();
     }},
    {"ZorIntfGetStatus",
     [] {
       Prepare([](FlatBufferBuilder& builder) {
         return CreateCallMessageDirect(builder, "reply", nullptr, 0, 0, 0, 0, 3);
       });
     },
     [] { Require(ZorIntfGetStatus(kHandle, &number) == 0); },
     [] {
       Exchange(
           kBuilderSize,
           [](FlatBufferBuilder& builder) {
             return CreateCallMessageDirect(builder, "ZorIntfGetStatus", nullptr, 0, 0, 0, 0,
                                            kStatus, 0, kHandle);
           },
           [](const CallMessage& reply) { number = reply.status(); });
     }},
    {"ZorIntfSet", PrepareParam, [] { Require(ZorIntfSet(kHandle, &param) == 0); },
     [] { BareParam("ZorIntfSet"); }},
    {"ZorIntfSetSerialized", PreparePlain,
     [] { Require(ZorIntfSetSerialized(kHandle, &input) == 0); },
     [] { BareBlock("ZorIntfSetSerialized", CopyNothing); }},
    {"ZorIntfStart", PreparePlain, [] { Require(ZorIntfStart(kHandle) == 0); },
     [] { BareInstance("ZorIntfStart"); }},
    {"ZorIntfStop", PreparePlain, [] { Require(ZorIntfStop(kHandle) == 0); },
     [] { BareInstance("ZorIntfStop"); }},
}};

}  // namespace

std::span<const OwnWork> OwnWorks() { return kOwnWorks; }

}  // namespace bench
}  // namespace zor
