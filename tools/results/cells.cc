#include <algorithm>
#include <cmath>
#include <iostream>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/results/results_output.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;

std::string textOf(const ordered_json& data) {
  if (data.is_string()) return data.get<std::string>();
  return data.is_number_float() ? decimalText(data.get<double>()) : data.dump();
}

/// Returns the value without control characters, in quotes when it has a separator or a quote.
std::string csvText(const ordered_json& data) {
  if (data.is_null()) return "";
  std::string text = printable(textOf(data));
  if (text.find_first_of(",\"") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char character : text) quoted += character == '"' ? "\"\"" : std::string(1, character);
  return quoted + "\"";
}

/// Prints at most `most` rows of the table as people read it.
void print(std::ostream& out, const SummaryTable& table, size_t most) {
  std::vector<Column> columns;
  for (const Cell& cell : table.rows.at(0).cells) {
    const Align align = cell.style == Style::kNumber ? Align::kRight : Align::kLeft;
    if (!cell.title.empty()) columns.push_back({cell.title, align});
  }
  Table shown(columns);
  const size_t rows = std::min(most, table.rows.size());
  for (size_t i = 0; i < rows; ++i) {
    std::vector<std::string> cells;
    for (const Cell& cell : table.rows[i].cells) {
      if (!cell.title.empty()) cells.push_back(printable(cell.text()));
    }
    shown.addRow(std::move(cells));
  }
  shown.print(out);
  if (const uint64_t more = table.rows.size() - rows + table.left; more > 0) {
    out << "... and " << more << " more";
    if (rows < table.rows.size()) out << ": --table " << table.name;
    out << "\n";
  }
}

}  // namespace

std::string roundedText(std::optional<double> value, std::optional<double> deviation) {
  if (!value) return "-";
  if (deviation.value_or(0) == 0 || !std::isfinite(*deviation)) return decimalText(*value);
  // Multiples of a power of ten that is at most a thousandth of the deviation. Powers above 1 are
  // exact for longer than those below.
  const double exponent = std::floor(std::log10(*deviation)) - 3;
  const double step = std::pow(10, std::abs(exponent));
  const double count = exponent < 0 ? *value * step : *value / step;
  // Among more multiples than that a double has no digits to round away.
  if (!(std::abs(count) < 1e15)) return decimalText(*value);
  return decimalText(exponent < 0 ? std::round(count) / step : std::round(count) * step);
}

std::string roundedText(std::optional<double> value) {
  // Three digits after the point, four of a small number.
  return roundedText(value, value ? std::min(std::abs(*value), 1.0) : 0);
}

std::string limitsText(const MeasurementHead& measurement) {
  const auto& [lower, upper] = std::pair(measurement.lower, measurement.upper);
  if (measurement.hasVariousLimits) return "various";
  if (lower && upper) return decimalText(*lower) + " to " + decimalText(*upper);
  if (lower) return "at least " + decimalText(*lower);
  return upper ? "at most " + decimalText(*upper) : "-";
}

std::string valueText(const Measurement& measurement, const Names& names) {
  if (measurement.isCheck) return measurement.text + ", expected " + measurement.expected;
  std::string text = measurement.value ? decimalText(*measurement.value) : "not a number";
  const std::string& unit = names.text(measurement.unitOfMeasure);
  if (!unit.empty()) text.append(" ").append(unit);
  const std::string limits = limitsText(measurement);
  return limits == "-" ? text : text + " (" + limits + ")";
}

std::string Cell::text() const {
  std::string units;
  for (const auto& [id, unit] : runs) units += (units.empty() ? "" : " ") + unit;
  if (!units.empty()) return units;
  if (!value.text.empty()) return value.text;
  if (value.data.is_null()) return style == Style::kNumber ? "-" : "";
  return textOf(value.data);
}

Cells joined(Cells cells, Cells added, const std::string& prefix) {
  for (Cell& cell : added) {
    if (!cell.name.empty()) cell.name.insert(0, prefix);
    cells.push_back(std::move(cell));
  }
  return cells;
}

Cells blank(Cells cells) {
  for (Cell& cell : cells) cell.value = {};
  return cells;
}

void printCsv(std::ostream& out, const Cells& cells, bool asNames) {
  const char* separator = "";
  for (const Cell& cell : cells) {
    if (cell.name.empty()) continue;
    out << std::exchange(separator, ",") << (asNames ? cell.name : csvText(cell.value.data));
  }
  out << "\n";
}

ordered_json objectOf(const Cells& cells) {
  ordered_json object = ordered_json::object();
  for (const Cell& cell : cells) {
    if (!cell.name.empty()) object[ordered_json::json_pointer("/" + cell.name)] = cell.value.data;
  }
  for (ordered_json& part : object) {
    const auto isNull = [](const ordered_json& each) { return each.is_null(); };
    if (part.is_object() && std::ranges::all_of(part, isNull)) part = nullptr;
  }
  return object;
}

Cells headOf(const Run& run, const Names& names) {
  return {{"time", run.timeText},
          {"run", run.id},
          {"station", names.text(run.station)},
          {"unit", run.unit},
          {"count", run.count == 0 ? Value() : Value(run.count)},
          {"verdict", nameOf(run.verdict)}};
}

Cells restOf(const Run& run, const Names& names) {
  Cells cells = {{"seconds", run.seconds}, {"reason", run.reason}};
  for (size_t i = 0; i < run.fields.size(); ++i) {
    cells.push_back({std::string(kGroupFields[i]), names.text(run.fields[i])});
  }
  return cells;
}

Cells cellsOf(const PhaseResult& phase, const Names& names) {
  return {{"phase", names.text(phase.name)},
          {"verdict", nameOf(phase.verdict)},
          {"seconds", phase.seconds},
          {"reason", phase.reason}};
}

Cells cellsOf(const Measurement& measurement, const Names& names) {
  const bool isCheck = measurement.isCheck;
  return {{"phase", names.text(measurement.phase)},
          {"name", names.text(measurement.name)},
          {"value", measurement.value},
          {"unitOfMeasure", names.text(measurement.unitOfMeasure)},
          {"lower", measurement.lower},
          {"upper", measurement.upper},
          {"inside", measurement.isInside},
          {"text", isCheck ? Value(measurement.text, "") : Value()},
          {"expected", isCheck ? Value(measurement.expected, "") : Value()},
          {"attempt", measurement.attempt == 0 ? Value() : Value(measurement.attempt)},
          {"repeated", measurement.isRepeated}};
}

Cells leftOut(const ResultsSource& source) {
  return {{"damagedLines", source.damagedLines, "damaged lines, left out"},
          {"repeatedLines", source.repeatedLines,
           "lines read before or after the end of their run, left out"},
          {"unreadableFiles", source.unreadableFiles, "files or folders that cannot be read"}};
}

void printTable(std::ostream& out, TableKind kind, const Results& results, bool asCsv) {
  const SummaryTable table = tableOf(kind, results);
  if (table.rows.empty()) {
    std::cerr << "corvane: the table " << table.name << " is empty\n";
    return;
  }
  if (!asCsv) return print(out, table, SIZE_MAX);
  printCsv(out, table.rows[0].cells, true);
  for (const TableRow& row : table.rows) printCsv(out, row.cells);
}

void printSummary(std::ostream& out, const Results& results) {
  for (size_t i = 0; i < kTables.size(); ++i) {
    const auto kind = static_cast<TableKind>(i);
    if (kind > TableKind::kHistory && results.summary.history.count > 0) break;
    const SummaryTable table = tableOf(kind, results);
    if (table.rows.empty()) continue;
    if (i > 0) out << "\n" << table.title << "\n";
    print(out, table, table.maxRows);
  }
}

}  // namespace corvane::tools
