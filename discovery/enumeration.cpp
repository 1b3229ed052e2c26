#include "discovery/enumeration.h"

#include <algorithm>

#include "discovery/name_list.h"
#include "transport/remote_call.h"

namespace zor {

ZorResult Enumerate(PipeChannel& request, std::uint32_t selector, ZorNameList& list) {
  RemoteCall call(request, "RpcClient::ZorIntfEnum");
  if (!call.Connect()) return call.result();
  const auto* reply =
      call.Exchange({.func_name = "ZorIntfEnum", .enum_type = static_cast<std::uint8_t>(selector)});
  if (reply == nullptr) return call.result();

  ReleaseNameList(list);
  const auto* answer = reply->enum_result();
  if (answer == nullptr || answer->count() == 0) return ZOR_SUCCESS;

  // The slots are as many as the count, the names as many as the vector holds: where the two
  // differ, slots stay null and names are left over.
  AllocateNameList(list, answer->count());
  const auto* names = answer->names();
  const std::uint32_t filled = names == nullptr ? 0 : std::min(names->size(), list.count);
  for (std::uint32_t i = 0; i < filled; ++i) {
    StoreName(list, i, names->Get(i)->string_view());
  }
  return ZOR_SUCCESS;
}

}  // namespace zor
