/// Everything that exists from load to unload.
#pragma once

#include "discovery/algorithm_id_table.h"  // IWYU pragma: export
#include "discovery/enumeration.h"
#include "transport/rpc_client.h"  // IWYU pragma: export

namespace zor {

/// Built at load, member by member in this order, and destroyed at unload in the opposite one.
struct Library {
  /// Throws std::system_error when the listener cannot be started.
  Library();

  const DiscoveryRules discovery_rules;
  AlgorithmIdTable algorithm_ids;
  RpcClient client;
};

/// Whether the library's static initialisation has succeeded; in load.cpp.
[[nodiscard]] bool IsLoaded() noexcept;

/// The one that the exports work on. load.cpp has it in the library; tests bring their own.
[[nodiscard]] Library& TheLibrary() noexcept;

}  // namespace zor
