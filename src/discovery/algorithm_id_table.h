/// The link between the application's algorithm ids and the server's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zor {

struct AlgorithmIdEntry {
  std::string name;            ///< as the server sent it
  std::int16_t server_id = 0;  ///< position in the server's list
  std::int16_t app_id = -1;    ///< position in the application's list; -1: not present locally
};

/// In the order of insertion; only ever appended to.
using AlgorithmIdTable = std::vector<AlgorithmIdEntry>;

/// The first row with this application id; null when there is none. Ids are compared as floats.
[[nodiscard]] const AlgorithmIdEntry* FindByAppId(const AlgorithmIdTable& table,
                                                  float app_id) noexcept;

/// The first row with this server id; null when there is none.
[[nodiscard]] const AlgorithmIdEntry* FindByServerId(const AlgorithmIdTable& table,
                                                     float server_id) noexcept;

}  // namespace zor
