#include "tools/table.h"

#include <algorithm>

namespace corvane::tools {

void Table::print(std::ostream& out) const {
  std::vector<size_t> widths;
  std::vector<std::string> titles;
  for (const Column& column : _columns) {
    titles.push_back(column.title);
    widths.push_back(column.title.size());
  }
  for (const auto& row : _rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - row[i].size(), ' ');
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
