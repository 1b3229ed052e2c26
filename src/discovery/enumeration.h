/// The lists of names.
#pragma once

#include <cstdint>
#include <regex>

#include "discovery/algorithm_catalogue.h"
#include "discovery/algorithm_id_table.h"
#include "discovery/driver_package.h"
#include "interface/zor_interface.h"
#include "transport/pipe_channel.h"

namespace zor {

/// What finding the local algorithms goes by. Built at load, only read afterwards.
struct DiscoveryRules {
  AlgorithmCatalogue catalogue = BuildAlgorithmCatalogue();
  std::wregex library_filter = BuildLibraryFilter();
  DriverStore driver_store;
};

/// Replaces the contents of `list` by the server's list for `selector`; for algorithms, by those of
/// the server's list that this machine has, whose ids go into `ids`. The errors of the search are
/// let through; `list` is then empty.
[[nodiscard]] ZorResult Enumerate(PipeChannel& request, std::uint32_t selector, ZorNameList& list,
                                  const DiscoveryRules& rules, AlgorithmIdTable& ids);

}  // namespace zor
