#include "tools/terminal/table.h"

#include <algorithm>

#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

/// The most columns of a cell that are shown, except in the table's last column, so that one long
/// name does not push the others off the screen.
constexpr size_t kMaxCell = 60;

}  // namespace

void Table::addRow(std::vector<std::string> cells) {
  for (size_t i = 0; i + 1 < cells.size(); ++i) cells[i] = shortened(cells[i], kMaxCell);
  _rows.push_back(std::move(cells));
}

void Table::print(std::ostream& out) const {
  std::vector<size_t> widths;
  std::vector<std::string> titles;
  for (const Column& column : _columns) {
    titles.push_back(column.title);
    widths.push_back(column.title.size());
  }
  for (const auto& row : _rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - columnsOf(row[i]), ' ');
      if (i > 0) line += "  ";
      line += _columns[i].align == Align::kLeft ? row[i] + blanks : blanks + row[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  };
  printRow(titles);
  for (const auto& row : _rows) printRow(row);
}

}  // namespace corvane::tools
