#ifndef CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_
#define CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/or_null.h"
#include "platform/scoped_file.h"
#include "tools/results/run_reader.h"
#include "tools/results/summary.h"

/// What is told of runs and of a summary: tables for a terminal, a page and CSV, the same as JSON,
/// charts, and a JUnit report.
namespace corvane::tools {

struct Results {
  const Summary& summary;
  const Names& names;
  const ResultsSource& source;
};

// Numbers as people read them.

/// Returns the number with three digits after its point at most; "-" when it is absent.
std::string roundedText(std::optional<double> value);
/// Return the number, or the mean, with as many digits as the deviation gives it a meaning.
std::string roundedTo(double value, double deviation);
std::string meanText(const Moments& values);
/// Returns "3.2 to 3.4", "at most 3.4", "at least 3.2", "various" or "-".
std::string limitsText(const MeasurementHead& measurement);
/// Returns what was measured, with its limits, or checked: "3.5 V (3.2 to 3.4)".
std::string valueText(const Measurement& measurement, const Names& names);

/// A value as JSON and CSV have it, and as people read it.
struct Value {
  // NOLINTBEGIN(google-explicit-constructor): a cell is written as its value.
  Value() : data(nullptr) {}
  template <typename T>
  Value(const T& given) : data(given) {}
  Value(const std::string& given) : data(orNull(given)) {}
  Value(const std::optional<double>& given) : data(orNull(given)) {}
  // NOLINTEND(google-explicit-constructor)
  Value(nlohmann::ordered_json held, std::string shown)
      : data(std::move(held)), text(std::move(shown)) {}

  nlohmann::ordered_json data;  ///< Null where there is nothing to tell.
  std::string text;             ///< Empty where people read `data`.
};

enum class Style : uint8_t {
  kPlace,  ///< What the row is about; such columns come first.
  kText,   ///< May be long.
  kValue,  ///< With its limits.
  kLine,   ///< Is not broken.
  kNumber
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

enum class TableKind : uint8_t {
  kYields,
  kHistory,
  kFailures,
  kFailedRuns,
  kMeasurements,
  kPhases,
  kTimes,
  kTrends
};
inline constexpr std::array<std::string_view, 8> kTableNames = {
    "yields", "history", "failures", "failed-runs", "measurements", "phases", "times", "trends"};

struct TableRow {
  Cells cells;
  std::string run = {};  ///< Its id, when the row is about one.
  uint32_t station = 0;
  const MeasurementSummary* measurement = nullptr;  ///< What the row is about.
  std::vector<const FailedRun*> failed = {};        ///< The newest runs that failed in this way.
};

struct SummaryTable {
  std::string_view name, title;
  size_t maxRows;  ///< Among other tables.
  std::vector<TableRow> rows = {};
  uint64_t left = 0;  ///< Rows that were not kept.
};

SummaryTable tableOf(TableKind kind, const Results& results);

/// Returns what was left out, each with its number; empty when nothing was.
std::vector<std::pair<std::string, uint64_t>> leftOut(const ResultsSource& source);

nlohmann::ordered_json summaryAsJson(const Results& results);
/// Prints the tables that have rows, the first rows of those that may be long. With a history, only
/// that and the yields.
void printSummary(std::ostream& out, const Results& results);
/// Prints all rows of one table, for people or as CSV.
void printTable(std::ostream& out, TableKind kind, const Results& results, bool asCsv);

/// Returns one page with the tables and a chart of each measurement.
std::string summaryAsHtml(const Results& results, const std::string& madeAt);

// The charts of the page, as HTML figures. Titles are text, not markup.

/// Returns a histogram of the measurement with its limits and, when it was outside them, its mean
/// and deviation over time. `id` is what links name.
std::string measurementChart(const MeasurementSummary& measurement, const std::string& id,
                             const std::string& title, int64_t spanHours);
/// Returns the share of runs that passed over time.
std::string yieldChart(const std::map<int64_t, Yield>& times, const std::string& title,
                       int64_t spanHours);

/// Writes runs as a JUnit report: one suite for each run, one case for each phase, with its
/// measurements as properties. A run that neither passed nor failed, or that failed without a
/// failed phase, has one more case. The finished report replaces the file. Throws CommandError.
class JunitWriter {
 public:
  explicit JunitWriter(const std::string& path);

  void add(const Run& run, const Names& names);
  void finish();

 private:
  void write(std::string_view text);

  std::string _path;
  /// The report so far; it has no name, so that nothing is left of it after a kill.
  ScopedFile _spool;
};

/// Throws CommandError when the file cannot be written.
void requireWritable(const std::string& path);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_
