// Every remote call end to end: which call, then the reply.
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "fuzz/machine.h"
#include "messages/reply.h"
#include "tests/support/remote_exports.h"

namespace zor::fuzz {
namespace {

using scripted::Outputs;
using scripted::OwnedOutputs;
using scripted::RemoteExport;
using scripted::RemoteExports;

constexpr std::size_t kReplyLimit = 1024;

// Two calls that the table does not have: the list of algorithms, and the parameter that is one.
const RemoteExport kEnumAlgorithms{
    .name = "algorithms",
    .tag = "",
    .call = [](Outputs& outputs) { return ZorIntfEnum(2, &outputs.list); },
    .reply = nullptr,
    .allocations = 0};
const RemoteExport kGetAlgorithm{.name = "algorithm",
                                 .tag = "",
                                 .call =
                                     [](Outputs& outputs) {
                                       const char* name =
                                           std::exchange(outputs.param.name, "supproted_algo_name");
                                       const ZorResult result = ZorIntfGet(5, &outputs.param);
                                       outputs.param.name = name;
                                       return result;
                                     },
                                 .reply = nullptr,
                                 .allocations = 0};

const RemoteExport& ChooseExport(std::uint8_t choice) {
  const auto exports = RemoteExports();
  const std::size_t index = choice % (exports.size() + 2);
  if (index < exports.size()) return exports[index];
  return index == exports.size() ? kEnumAlgorithms : kGetAlgorithm;
}

/// The bytes that the server answers with, whatever it is asked.
scripted::Bytes& Answer() {
  static scripted::Bytes answer;
  return answer;
}

bool Same(float left, float right) { return std::memcmp(&left, &right, sizeof(left)) == 0; }

bool Same(const char* copy, const flatbuffers::String* name) {
  return copy != nullptr && std::memcmp(copy, name->c_str(), name->size() + std::size_t{1}) == 0;
}

/// The slots of a plain list against the names of the reply.
void RequireList(const ZorNameList& list, const messages::EnumResult* answer) {
  Require(list.count == (answer == nullptr ? 0 : answer->count()), "count");
  Require((list.items == nullptr) == (list.count == 0), "items");
  const auto* names = answer == nullptr ? nullptr : answer->names();
  for (std::uint32_t i = 0; i < list.count; ++i) {
    const bool named = names != nullptr && i < names->size();
    Require(named ? Same(list.items[i], names->Get(i)) : list.items[i] == nullptr, "slot");
  }
}

/// What a successful call has taken out of its reply.
void RequireOutputs(std::string_view name, const Outputs& outputs, ZorResult result,
                    const messages::CallMessage& reply) {
  if (name == "ZorIntfGetSerialized") {
    const auto* block = reply.blob_result();
    if (block == nullptr || result != ZOR_SUCCESS) return;
    Require(outputs.blob.size == block->size(), "size");
    Require(std::strcmp(outputs.blob.name, "preset") == 0, "name");
    Require(block->size() == 0 ||
                std::memcmp(outputs.blob.data, block->data()->data(), block->size()) == 0,
            "data");
    return;
  }
  if (name == "algorithm") return;  // may be 3
  Require(result == ZOR_SUCCESS, "a good reply is refused");
  if (name == "ZorIntfGetInfo") {
    const auto* words = reply.server_info();
    Require(outputs.info.info0 == (words == nullptr ? 0 : words->info0()), "info0");
    Require(outputs.info.info3 == (words == nullptr ? 0 : words->info3()), "info3");
  } else if (name == "ZorIntfCreate") {
    Require(outputs.handle == reply.handle(), "handle");
  } else if (name == "ZorIntfGetStatus") {
    Require(outputs.status == reply.status(), "status");
  } else if (name == "ZorIntfGet" || name == "ZorIntfSet") {
    const auto* param = reply.float_param();
    if (param != nullptr) Require(Same(outputs.param.value, param->value()), "value");
  } else if (name == "ZorIntfEnum") {
    RequireList(outputs.list, reply.enum_result());
  }
}

void CallWith(const RemoteExport& remote, std::span<const std::uint8_t> bytes) {
  Answer().assign(bytes.begin(), bytes.end());
  const Block exact(bytes);
  const auto* reply = bytes.size() > kReplyLimit ? nullptr : messages::CheckReply(exact.bytes());

  Machine::Refresh();
  TheLibrary().algorithm_ids = {{"general", 0, 0}, {"private", 1, -1}};
  OwnedOutputs outputs;
  try {
    const ZorResult result = remote.call(outputs.get());
    if (reply == nullptr) {
      Require(result == ZOR_TRANSPORT_FAILURE && outputs.Untouched(), "a bad reply is taken");
    } else if (reply->result() != 0) {
      Require(result == reply->result() && outputs.Untouched(), "a failure has outputs");
    } else {
      RequireOutputs(remote.name, outputs.get(), result, *reply);
    }
  } catch (const std::bad_alloc&) {
    Require(reply != nullptr && reply->enum_result() != nullptr &&
                reply->enum_result()->count() > scripted::Heap::kLargestBlock / sizeof(char*),
            "out of memory");
  }
  Require(outputs.CanariesIntact(), "canaries");
  // What is left of a reply that is too long would be the next call's.
  if (scripted::ThePipes().Waiting(kRequestPipe) != 0) TheLibrary().client.request->Close();
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto machine = [] {
    auto made = std::make_unique<zor::fuzz::Machine>();
    zor::scripted::ThePipes().PoisonUnread(true);
    zor::scripted::ThePipes().Listen(zor::kRequestPipe, [](const zor::scripted::Bytes&) {
      return std::vector<zor::scripted::Bytes>{zor::fuzz::Answer()};
    });
    return made;
  }();
  zor::fuzz::Input input(data, size);
  const auto& remote = zor::fuzz::ChooseExport(input.Byte());
  zor::fuzz::CallWith(remote, input.Rest());
  return 0;
}
