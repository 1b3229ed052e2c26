/// The merge of the server's and the local algorithms a second time, written down as plainly as
/// possible and without an eye to cost: what the product's is compared with.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "discovery/merge.h"

namespace zor::scripted {

class NaiveMerge {
 public:
  struct Row {
    std::string name;
    int server_id;
    int app_id;
  };

  void Enumerate(const std::vector<std::string>& server, const std::vector<std::string>& local,
                 unsigned long count);

  /// What is different in the product's table and list; nothing when all is the same.
  [[nodiscard]] std::optional<std::string> Differs(const AlgorithmIdTable& table,
                                                   std::uint32_t length) const;

  std::vector<Row> rows;
  unsigned long length = 0;
  std::map<int, std::string> slots;
};

}  // namespace zor::scripted
