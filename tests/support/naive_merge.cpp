#include "tests/support/naive_merge.h"

#include <algorithm>

namespace zor::scripted {
namespace {

/// As an int16 holds it.
int Truncated(long number) {
  const long low = number % 65536;
  return static_cast<int>(low >= 32768 ? low - 65536 : low);
}

char Lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

void NaiveMerge::Enumerate(const std::vector<std::string>& server,
                           const std::vector<std::string>& local, unsigned long count) {
  const bool mismatch = local.empty() ? false : local.size() != count;
  for (long i = 0; i < static_cast<long>(server.size()); ++i) {
    rows.push_back(
        {server[static_cast<std::size_t>(i)], Truncated(i), mismatch ? -1 : Truncated(i)});
  }
  if (mismatch) {
    for (long r = 0; r < static_cast<long>(rows.size()); ++r) {
      Row& row = rows[static_cast<std::size_t>(r)];
      for (const std::string& name : local) {
        if (std::ranges::equal(row.name, name, {}, Lower, Lower)) row.app_id = Truncated(r);
      }
    }
  }
  length = mismatch ? local.size() : count;
  slots.clear();
  for (const Row& row : rows) {
    if (row.app_id == -1) continue;
    if (row.app_id < 0 || static_cast<unsigned long>(row.app_id) >= length) continue;
    slots[row.app_id] = row.name;
  }
}

std::optional<std::string> NaiveMerge::Differs(const AlgorithmIdTable& table,
                                               std::uint32_t shown) const {
  if (shown != length) return "length";
  if (table.size() != rows.size()) return "rows";
  for (std::size_t r = 0; r < table.size(); ++r) {
    if (table[r].name != rows[r].name || table[r].server_id != rows[r].server_id ||
        table[r].app_id != rows[r].app_id) {
      return "row " + std::to_string(r);
    }
  }
  const auto assigned = AssignSlots(table, shown);
  if (assigned.size() > shown) return "slots beyond the list";
  std::size_t filled = 0;
  for (std::size_t slot = 0; slot < assigned.size(); ++slot) {
    if (assigned[slot] == nullptr) continue;
    ++filled;
    const auto expected = slots.find(static_cast<int>(slot));
    if (expected == slots.end() || assigned[slot]->name != expected->second) {
      return "slot " + std::to_string(slot);
    }
  }
  if (filled != slots.size()) return "slots left empty";
  return std::nullopt;
}

}  // namespace zor::scripted
