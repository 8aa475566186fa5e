#include "tools/terminal/table.h"

#include <algorithm>

namespace corvane::tools {
namespace {

/// The most characters of a cell that are shown, except in the last column, so that one long name
/// does not push the other columns off the screen.
constexpr size_t kWidestColumn = 60;

bool isContinuation(char byte) { return (byte & 0xC0) == 0x80; }

size_t widthOf(const std::string& cell) {
  return cell.size() - static_cast<size_t>(std::ranges::count_if(cell, isContinuation));
}

void cut(std::string& cell) {
  if (widthOf(cell) <= kWidestColumn) return;
  size_t end = 0;
  for (size_t width = 0; width + 3 <= kWidestColumn || isContinuation(cell[end]); ++end) {
    width += !isContinuation(cell[end]);
  }
  cell = cell.substr(0, end) + "...";
}

}  // namespace

void Table::addRow(std::vector<std::string> cells) {
  for (size_t i = 0; i + 1 < cells.size(); ++i) cut(cells[i]);
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
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - widthOf(row[i]), ' ');
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
