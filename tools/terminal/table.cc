#include "tools/terminal/table.h"

#include <algorithm>
#include <sstream>

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

void Table::print(std::ostream& out, size_t width) const {
  constexpr size_t kGap = 2, kMinLast = 16;
  std::vector<size_t> widths;
  std::vector<std::string> titles;
  for (const Column& column : _columns) {
    titles.push_back(column.title);
    widths.push_back(column.title.size());
  }
  for (const auto& row : _rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  size_t before = 0;
  for (size_t i = 0; i + 1 < widths.size(); ++i) before += widths[i] + kGap;
  const size_t room = std::max(width, before + kMinLast) - before;
  widths.back() = std::min(widths.back(), room);

  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string cell = i + 1 < row.size() ? row[i] : ending(row[i], room);
      const std::string blanks(widths[i] - columnsOf(cell), ' ');
      if (i > 0) line.append(kGap, ' ');
      line += _columns[i].align == Align::kLeft ? cell + blanks : blanks + cell;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  };
  printRow(titles);
  for (const auto& row : _rows) printRow(row);
}

std::string Table::text() const {
  std::ostringstream out;
  print(out);
  return out.str();
}

}  // namespace corvane::tools
