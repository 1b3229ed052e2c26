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

std::vector<std::string> LocalNames(const DiscoveryRules& rules) {
  const DriverPackageInfo package = LocateDriverPackage(rules.driver_store);
  std::vector<std::string> names;
  for (const auto& name : ListLocalAlgorithms(rules.catalogue, rules.library_filter, package)) {
    names.push_back(ToUtf8(name));
  }
  return names;
}

/// The slots are as many as the count, the names as many as the vector holds: where the two differ,
/// slots stay null and names are left over.
void FillPlain(ZorNameList& list, const messages::EnumResult& answer) {
  AllocateNameList(list, answer.count());
  const auto* names = answer.names();
  const std::uint32_t filled = names == nullptr ? 0 : std::min(names->size(), list.count);
  for (std::uint32_t i = 0; i < filled; ++i) StoreName(list, i, names->Get(i)->string_view());
}

void FillAlgorithms(ZorNameList& list, const messages::EnumResult& answer,
                    const DiscoveryRules& rules, AlgorithmIdTable& ids) {
  const auto local_names = LocalNames(rules);
  std::vector<std::string_view> names;
  if (const auto* sent = answer.names()) {
    for (const auto* name : *sent) names.push_back(name->string_view());
  }
  const std::uint32_t count = MergeAlgorithms(ids, names, answer.count(), local_names);

  const auto slots = AssignSlots(ids, count);
  // The list may hold something again: while the search waits for the management service, a
  // single-threaded apartment runs the application's window procedures, which may call in again.
  AllocateNameList(list, count);
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot] != nullptr) StoreName(list, slot, slots[slot]->name);
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

  if (selector == kAlgorithms) {
    FillAlgorithms(list, *answer, rules, ids);
  } else {
    FillPlain(list, *answer);
  }
  return ZOR_SUCCESS;
}

}  // namespace zor
