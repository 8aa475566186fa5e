#ifndef CORVANE_TOOLS_RESULTS_CELLS_H_
#define CORVANE_TOOLS_RESULTS_CELLS_H_

#include <concepts>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/or_null.h"
#include "tools/results/run.h"

/// What is told of something, once for a terminal, a page, JSON and CSV.
namespace corvane::tools {

/// A value as JSON and CSV have it, and as people read it.
struct Value {
  // NOLINTBEGIN(google-explicit-constructor): a cell is written as its value.
  Value() : data(nullptr) {}
  Value(const char* given) : Value(std::string(given)) {}
  Value(std::string_view given) : Value(std::string(given)) {}
  Value(const std::string& given) : data(orNull(given)) {}
  Value(const std::optional<double>& number) : data(orNull(number)) {}
  Value(double number) : data(number) {}
  Value(std::integral auto number) : data(number) {}
  // NOLINTEND(google-explicit-constructor)
  Value(nlohmann::ordered_json held, std::string shown)
      : data(std::move(held)), text(std::move(shown)) {}

  nlohmann::ordered_json data;  ///< Null where there is nothing to tell.
  std::string text;             ///< Empty where people read `data`.
};

enum class Style : uint8_t {
  kPlace,   ///< What the row is about; such columns come first.
  kText,    ///< May be long.
  kReason,  ///< Is often long.
  kLine,    ///< Is not broken.
  kCode,    ///< For machines.
  kNumber,
  kShare  ///< A number from 0 to 1.
};

struct Cell {
  Cell(std::string cellName, std::string cellTitle, Style cellStyle, Value held)
      : name(std::move(cellName)),
        title(std::move(cellTitle)),
        style(cellStyle),
        value(std::move(held)) {}
  /// For machines only.
  Cell(std::string cellName, Value held)
      : Cell(std::move(cellName), "", Style::kText, std::move(held)) {}

  bool isNumber() const { return style == Style::kNumber || style == Style::kShare; }
  /// Returns the value for people; control characters are not escaped.
  std::string text() const;

  std::string name;   ///< A path in JSON, such as "seconds/median"; empty: for people only.
  std::string title;  ///< Of the column; empty: for machines only.
  Style style;
  Value value;
};
using Cells = std::vector<Cell>;

/// Adds cells at the end, with `prefix` before their names.
void append(Cells& cells, Cells added, const std::string& prefix = "");

/// Returns the cells without their values.
Cells blank(Cells cells);

/// Prints a line of CSV, the values or the names of the cells.
void printCsv(std::ostream& out, const Cells& cells, bool asNames = false);

/// Returns the cells as an object; one in it of which nothing is known is null.
nlohmann::ordered_json objectOf(const Cells& cells);

// What is told of one run: what identifies it, and the rest.
Cells headOf(const Run& run, const Names& names);
Cells restOf(const Run& run, const Names& names);
Cells cellsOf(const PhaseResult& phase, const Names& names);
Cells cellsOf(const Measurement& measurement, const Names& names);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_CELLS_H_
