/// Joining the server's list of algorithms with the local one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/algorithm_id_table.h"

namespace zor {

/// Appends the server's names to the table and gives the rows their application ids. `server_count`
/// is the server's own word for how many names it has, `local_names` the local list in UTF-8. The
/// length of the application's list.
[[nodiscard]] std::uint32_t MergeAlgorithms(AlgorithmIdTable& table,
                                            std::span<const std::string_view> server_names,
                                            std::uint32_t server_count,
                                            std::span<const std::string> local_names);

/// For each slot of a list of this length the row whose name it shows, or null; slots at the end of
/// the list that no id can reach are left out.
[[nodiscard]] std::vector<const AlgorithmIdEntry*> AssignSlots(const AlgorithmIdTable& table,
                                                               std::uint32_t length);

}  // namespace zor
