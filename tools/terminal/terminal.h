#ifndef CORVANE_TOOLS_TERMINAL_TERMINAL_H_
#define CORVANE_TOOLS_TERMINAL_TERMINAL_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// Text on a terminal: UTF-8 without control characters. Wide characters take two columns,
/// combining ones none.
namespace corvane::tools {

/// Returns whether standard output is a terminal that shows colours and NO_COLOR is not set.
bool isColouredOutput();

/// Returns the values as `std::printf` prints them.
template <typename... Values>
std::string formatted(const char* format, Values... values) {
  std::string text(80, '\0');
  const auto print = [&] { return std::snprintf(text.data(), text.size() + 1, format, values...); };
  text.resize(static_cast<size_t>(print()));
  if (text.size() > 80) print();
  return text;
}

/// Returns the text, or its beginning and "..." when it takes more than `columns`.
std::string shortened(std::string_view text, size_t columns);

enum class Align { kLeft, kRight };

struct Column {
  std::string title;
  Align align = Align::kLeft;
};

/// Rows of text under titled columns, each as wide as its widest cell. A cell that takes more than
/// 60 columns is cut, except in the last column.
struct Table {
  explicit Table(std::vector<Column> titled) : columns(std::move(titled)) {}

  /// Adds a row; `cells` has one text for each column.
  void addRow(std::vector<std::string> cells);
  /// Prints the table, its titles in capitals. Cells of the last column lose their beginnings where
  /// the row would take more than `width` columns, but keep 16.
  void print(std::ostream& out, size_t width = SIZE_MAX) const;
  std::string text() const;

  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows = {};
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_TERMINAL_TERMINAL_H_
