#include "tools/terminal/terminal.h"

#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace corvane::tools {
namespace {

/// The most columns of a cell that are shown, except in the table's last column, so that one long
/// name does not push the others off the screen.
constexpr size_t kMaxCell = 60;

struct Character {
  size_t bytes;
  size_t columns;
};

/// Returns the character that the text begins with. A byte that is not UTF-8 counts as one.
Character firstCharacter(std::string_view text) {
  if (static_cast<signed char>(text.front()) >= 0) return {1, 1};
  utf8proc_int32_t codePoint = 0;
  const utf8proc_ssize_t bytes =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
  if (bytes <= 0) return {1, 1};
  return {static_cast<size_t>(bytes),
          static_cast<size_t>(std::max(0, utf8proc_charwidth(codePoint)))};
}

size_t columnsOf(std::string_view text) {
  size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += character.columns;
    text.remove_prefix(character.bytes);
  }
  return columns;
}

/// Returns the text, or "…" and its end when it takes more than `columns`.
std::string ending(std::string_view text, size_t columns) {
  size_t left = columnsOf(text);
  if (left <= columns) return std::string(text);
  // The mark takes one column.
  while (left + 1 > columns && !text.empty()) {
    const Character character = firstCharacter(text);
    left -= character.columns;
    text.remove_prefix(character.bytes);
  }
  return "…" + std::string(text);
}

}  // namespace

bool isColouredOutput() {
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) && !(refused && *refused) && terminal &&
         std::string_view(terminal) != "dumb";
}

std::string shortened(std::string_view text, size_t columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  constexpr std::string_view kMark = "...";
  size_t bytes = 0;
  for (size_t used = kMark.size();;) {
    const Character character = firstCharacter(text.substr(bytes));
    used += character.columns;
    if (used > columns) break;
    bytes += character.bytes;
  }
  return std::string(text.substr(0, bytes)).append(kMark);
}

void Table::addRow(std::vector<std::string> cells) {
  for (size_t i = 0; i + 1 < cells.size(); ++i) cells[i] = shortened(cells[i], kMaxCell);
  rows.push_back(std::move(cells));
}

void Table::print(std::ostream& out, size_t width) const {
  constexpr size_t kGap = 2, kMinLast = 16;
  std::vector<size_t> widths;
  std::vector<std::string> titles;
  for (auto [title, align] : columns) {
    for (char& c : title) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    widths.push_back(title.size());
    titles.push_back(std::move(title));
  }
  for (const auto& row : rows) {
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
      line += columns[i].align == Align::kLeft ? cell + blanks : blanks + cell;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  };
  printRow(titles);
  for (const auto& row : rows) printRow(row);
}

std::string Table::text() const {
  std::ostringstream out;
  print(out);
  return out.str();
}

}  // namespace corvane::tools
