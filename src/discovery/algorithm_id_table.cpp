#include "discovery/algorithm_id_table.h"

#include <algorithm>

namespace zor {
namespace {

const AlgorithmIdEntry* Find(const AlgorithmIdTable& table, std::int16_t AlgorithmIdEntry::*id,
                             float value) noexcept {
  const auto row = std::find_if(table.begin(), table.end(), [=](const AlgorithmIdEntry& entry) {
    return static_cast<float>(entry.*id) == value;
  });
  return row == table.end() ? nullptr : &*row;
}

}  // namespace

const AlgorithmIdEntry* FindByAppId(const AlgorithmIdTable& table, float app_id) noexcept {
  return Find(table, &AlgorithmIdEntry::app_id, app_id);
}

const AlgorithmIdEntry* FindByServerId(const AlgorithmIdTable& table, float server_id) noexcept {
  return Find(table, &AlgorithmIdEntry::server_id, server_id);
}

}  // namespace zor
