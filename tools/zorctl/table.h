/// Text in columns.
#pragma once

#include <string>
#include <vector>

namespace zor::ctl {

/// Columns as wide as their widest cell, two blanks apart; numbers stand on the right.
class Table {
 public:
  using Row = std::vector<std::string>;

  explicit Table(Row header) : rows_{std::move(header)} {}

  /// As many cells as the header has.
  void Add(Row row) { rows_.push_back(std::move(row)); }

  /// Without blanks at the ends of lines.
  [[nodiscard]] std::string ToText() const;

 private:
  std::vector<Row> rows_;
};

}  // namespace zor::ctl
