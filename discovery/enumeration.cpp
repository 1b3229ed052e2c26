#include "discovery/enumeration.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/library_scan.h"
#include "discovery/merge.h"
#include "discovery/name_list.h"
#include "discovery/text.h"
#include "transport/remote_call.h"

namespace zor {
namespace {

/// Compared whole, although the server sees the low 8 bits: 258 is not the list of algorithms.
constexpr std::uint32_t kAlgorithms = 2;

std::vector<std::string_view> Names(const messages::EnumResult& answer) {
  std::vector<std::string_view> names;
  const auto* sent = answer.names();
  if (sent == nullptr) return names;
  names.reserve(sent->size());
  for (const auto* name : *sent) names.push_back(name->string_view());
  return names;
}

std::vector<std::string> LocalNames(const DiscoveryRules& rules) {
  const DriverPackageInfo package = LocateDriverPackage(rules.driver_store);
  std::vector<std::string> names;
  for (const auto& name : ListLocalAlgorithms(rules.catalogue, rules.library_filter, package)) {
    names.push_back(ToUtf8(name));
  }
  return names;
}

void FillAlgorithms(ZorNameList& list, std::uint32_t count, const AlgorithmIdTable& ids) {
  const auto slots = AssignSlots(ids, count);
  AllocateNameList(list, count);
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot] != nullptr) StoreName(list, slot, slots[slot]->name);
  }
}

/// The slots are as many as the count, the names as many as the vector holds: where the two differ,
/// slots stay null and names are left over.
void FillNames(ZorNameList& list, std::uint32_t count, const std::vector<std::string_view>& names) {
  AllocateNameList(list, count);
  for (std::uint32_t i = 0; i < std::min<std::size_t>(count, names.size()); ++i) {
    StoreName(list, i, names[i]);
  }
}

}  // namespace

ZorResult Enumerate(PipeChannel& request, std::uint32_t selector, ZorNameList& list,
                    const DiscoveryRules& rules, AlgorithmIdTable& ids) {
  RemoteCall call(request, "RpcClient::ZorIntfEnum");
  if (!call.Connect()) return call.result();
  const auto* reply =
      call.Exchange({.func_name = "ZorIntfEnum", .enum_type = static_cast<std::uint8_t>(selector)});
  if (reply == nullptr) return call.result();

  ReleaseNameList(list);
  const auto* answer = reply->enum_result();
  if (answer == nullptr || answer->count() == 0) return ZOR_SUCCESS;

  const auto names = Names(*answer);
  if (selector == kAlgorithms) {
    const auto local_names = LocalNames(rules);
    FillAlgorithms(list, MergeAlgorithms(ids, names, answer->count(), local_names), ids);
  } else {
    FillNames(list, answer->count(), names);
  }
  return ZOR_SUCCESS;
}

}  // namespace zor
