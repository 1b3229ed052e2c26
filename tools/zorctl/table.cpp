#include "tools/zorctl/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace zor::ctl {
namespace {

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// In characters, not in bytes.
std::size_t Width(std::string_view utf8) {
  return static_cast<std::size_t>(std::ranges::count_if(
      utf8, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

struct Column {
  std::size_t width = 0;
  bool numeric = true;  ///< all cells but the header's
};

Column Measure(const std::vector<Table::Row>& rows, std::size_t index) {
  Column column;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::string& cell = rows[row][index];
    column.width = std::max(column.width, Width(cell));
    if (row > 0 && !IsNumber(cell)) column.numeric = false;
  }
  return column;
}

}  // namespace

std::string Table::ToText() const {
  std::vector<Column> columns;
  for (std::size_t i = 0; i < rows_.front().size(); ++i) columns.push_back(Measure(rows_, i));

  std::string text;
  for (const Row& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string padding(columns[i].width - Width(row[i]), ' ');
      if (i > 0) line += "  ";
      line += columns[i].numeric ? padding + row[i] : row[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace zor::ctl
