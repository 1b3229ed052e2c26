// Every remote call end to end: which call, then the reply.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/machine.h"
#include "messages/reply.h"
#include "tests/kit/remote_calls.h"
#include "tests/support/naive_merge.h"

namespace zor::fuzz {
namespace {

using testing::CallRecords;
using testing::Outputs;
using testing::OwnedOutputs;
using testing::RemoteCall;
using testing::RemoteCalls;

constexpr std::size_t kReplyLimit = 1024;

// Two calls that the table does not have: the list of algorithms, and the parameter that is one.
const RemoteCall kEnumAlgorithms{
    .name = "algorithms",
    .tag = "",
    .call = [](const testing::Exports& library,
               const CallRecords& records) { return library.Enum(2, records.list); },
    .reply = nullptr,
    .took = nullptr};
const RemoteCall kGetAlgorithm{.name = "algorithm",
                               .tag = "",
                               .call =
                                   [](const testing::Exports& library, const CallRecords& records) {
                                     const char* name =
                                         std::exchange(records.param->name, "supproted_algo_name");
                                     const ZorResult result = library.Get(5, records.param);
                                     records.param->name = name;
                                     return result;
                                   },
                               .reply = nullptr,
                               .took = nullptr};

const RemoteCall& ChooseExport(std::uint8_t choice) {
  const auto exports = RemoteCalls();
  const std::size_t index = choice % (exports.size() + 2);
  if (index < exports.size()) return exports[index];
  return index == exports.size() ? kEnumAlgorithms : kGetAlgorithm;
}

/// The bytes that the server answers with, whatever it is asked.
testing::Bytes& Answer() {
  static testing::Bytes answer;
  return answer;
}

struct Ids {
  const char* name;
  std::int16_t server_id;
  std::int16_t app_id;
};
/// What an enumeration before has left.
constexpr std::array<Ids, 2> kIds{{{"general", 0, 0}, {"private", 1, -1}}};

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

/// The list that the naive model makes of the reply's names and the two of the machine.
void RequireAlgorithms(const ZorNameList& list, const messages::EnumResult* answer) {
  if (answer == nullptr || answer->count() == 0) return RequireList(list, nullptr);
  std::vector<std::string> names;
  if (const auto* sent = answer->names()) {
    for (const auto* name : *sent) names.push_back(name->str());
  }
  const auto has_terminator = [](const std::string& name) {
    return name.find('\0') != std::string::npos;
  };
  // To the model a name ends with it, to the library it does not.
  if (std::ranges::any_of(names, has_terminator)) return;
  scripted::NaiveMerge model;
  for (const auto& [name, server_id, app_id] : kIds)
    model.rows.push_back({name, server_id, app_id});
  model.Enumerate(names, {"general", "whisper"}, answer->count());
  Require(list.count == model.length, "length");
  for (std::uint32_t i = 0; i < list.count; ++i) {
    const auto slot = model.slots.find(static_cast<int>(i));
    Require(slot == model.slots.end() ? list.items[i] == nullptr : list.items[i] == slot->second,
            "algorithm");
  }
}

/// The id that the record holds after the call is the reply's, or what it was before.
void RequireAlgorithm(const ZorFloatParam& param, ZorResult result, float server_id) {
  const auto row = std::ranges::find(kIds, server_id, &Ids::server_id);
  Require(result == (row == kIds.end() ? ZOR_UNKNOWN_ALGORITHM : ZOR_SUCCESS), "result");
  Require(Same(param.value, row == kIds.end() ? server_id : static_cast<float>(row->app_id)), "id");
}

void RequireBlock(OwnedOutputs& outputs, ZorResult result, const messages::BlobParam* block) {
  const bool lies = block != nullptr && block->size() > 0 &&
                    (block->data() == nullptr || block->data()->size() < block->size());
  Require(result == (lies ? ZOR_TRANSPORT_FAILURE : ZOR_SUCCESS), "result");
  if (block == nullptr || lies) return Require(outputs.Untouched(), "no block");
  const ZorBlob& written = outputs.get().blob;
  Require(written.size == block->size(), "size");
  Require(std::strcmp(written.name, "preset") == 0, "name");
  Require(
      block->size() == 0 || std::memcmp(written.data, block->data()->data(), block->size()) == 0,
      "data");
}

void RequireInfo(const ZorServerInfo& info, const messages::ServerInfo* words) {
  const messages::ServerInfo none(0, 0, 0, 0);
  if (words == nullptr) words = &none;
  Require(info.info0 == words->info0() && info.info1 == words->info1() &&
              info.info2 == words->info2() && info.info3 == words->info3(),
          "info");
}

/// What a call has taken out of a reply that is a success.
void RequireOutputs(std::string_view name, OwnedOutputs& outputs, ZorResult result,
                    const messages::CallMessage& reply) {
  const Outputs& written = outputs.get();
  const float value = reply.float_param() == nullptr ? OwnedOutputs().get().param.value
                                                     : reply.float_param()->value();
  if (name == "ZorIntfGetSerialized") return RequireBlock(outputs, result, reply.blob_result());
  if (name == kGetAlgorithm.name) return RequireAlgorithm(written.param, result, value);
  Require(result == ZOR_SUCCESS, "a good reply is refused");
  if (name == kEnumAlgorithms.name) {
    RequireAlgorithms(written.list, reply.enum_result());
  } else if (name == "ZorIntfEnum") {
    RequireList(written.list, reply.enum_result());
  } else if (name == "ZorIntfGetInfo") {
    RequireInfo(written.info, reply.server_info());
  } else if (name == "ZorIntfCreate") {
    Require(written.handle == reply.handle(), "handle");
  } else if (name == "ZorIntfGetStatus") {
    Require(written.status == reply.status(), "status");
  } else if (name == "ZorIntfGet" || name == "ZorIntfSet") {
    Require(Same(written.param.value, value), "value");
  } else {
    Require(outputs.Untouched(), "an output that is none");
  }
}

void CallWith(const RemoteCall& remote, std::span<const std::uint8_t> bytes) {
  Answer().assign(bytes.begin(), bytes.end());
  const Block exact(bytes);
  const auto* reply = bytes.size() > kReplyLimit ? nullptr : messages::CheckReply(exact.bytes());

  Machine::Refresh();
  for (const auto& [name, server_id, app_id] : kIds) {
    TheLibrary().algorithm_ids.push_back({name, server_id, app_id});
  }
  OwnedOutputs outputs;
  try {
    const ZorResult result = remote.call(scripted::LinkedExports(), outputs.records());
    if (reply == nullptr) {
      Require(result == ZOR_TRANSPORT_FAILURE && outputs.Untouched(), "a bad reply is taken");
    } else if (reply->result() != 0) {
      Require(result == reply->result() && outputs.Untouched(), "a failure has outputs");
    } else {
      RequireOutputs(remote.name, outputs, result, *reply);
    }
  } catch (const std::bad_alloc&) {
    Require(reply != nullptr && reply->enum_result() != nullptr &&
                reply->enum_result()->count() > scripted::Heap::kLargestBlock / sizeof(char*),
            "out of memory");
    Require(outputs.get().list.count == 0, "a list that there is no memory for");
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
    zor::scripted::ThePipes().Listen(zor::kRequestPipe, [](const zor::testing::Bytes&) {
      return std::vector<zor::testing::Bytes>{zor::fuzz::Answer()};
    });
    return made;
  }();
  zor::fuzz::Input input(data, size);
  const auto& remote = zor::fuzz::ChooseExport(input.Byte());
  zor::fuzz::CallWith(remote, input.Rest());
  return 0;
}
