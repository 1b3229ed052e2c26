#include "discovery/merge.h"

#include <algorithm>
#include <cstddef>
// IWYU pragma: no_include <memory>
// Only pointers to it are stored; <memory> is not needed.

#include "discovery/text.h"

namespace zor {
namespace {

constexpr std::int16_t kAbsent = -1;
constexpr std::uint32_t kReachableSlots = 0x8000;

/// Ids are of 16 bits; the positions of a table that has grown beyond them wrap around.
std::int16_t ToId(std::size_t position) noexcept { return static_cast<std::int16_t>(position); }

}  // namespace

std::uint32_t MergeAlgorithms(AlgorithmIdTable& table,
                              std::span<const std::string_view> server_names,
                              std::uint32_t server_count,
                              std::span<const std::string> local_names) {
  // Without any local algorithm the server's list is shown as it is.
  const bool mismatch = !local_names.empty() && local_names.size() != server_count;
  for (std::size_t i = 0; i < server_names.size(); ++i) {
    table.push_back({std::string(server_names[i]), ToId(i), mismatch ? kAbsent : ToId(i)});
  }
  if (!mismatch) return server_count;

  // The rows of earlier calls are renumbered as well; those that match nothing keep what they had.
  for (std::size_t r = 0; r < table.size(); ++r) {
    const bool is_local = std::ranges::any_of(local_names, [&](const std::string& name) {
      return EqualIgnoringCase(table[r].name.c_str(), name.c_str());
    });
    if (is_local) table[r].app_id = ToId(r);
  }
  return static_cast<std::uint32_t>(local_names.size());
}

std::vector<const AlgorithmIdEntry*> AssignSlots(const AlgorithmIdTable& table,
                                                 std::uint32_t length) {
  std::vector<const AlgorithmIdEntry*> slots(std::min(length, kReachableSlots));
  for (const AlgorithmIdEntry& row : table) {
    // Ids are positions in the table, so they can lie outside the list, which may be shorter.
    if (row.app_id < 0 || static_cast<std::size_t>(row.app_id) >= slots.size()) continue;
    slots[static_cast<std::size_t>(row.app_id)] = &row;
  }
  return slots;
}

}  // namespace zor
