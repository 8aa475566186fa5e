#ifndef CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_
#define CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/or_null.h"
#include "platform/scoped_file.h"
#include "tools/results/run_reader.h"
#include "tools/results/summary.h"

/// What is shown of runs and of a summary: tables for a terminal, a page and CSV, the same as JSON,
/// charts, and a JUnit report.
namespace corvane::tools {

struct Results {
  const Summary& summary;
  const Names& names;
  const ResultsSource& source;
};

/// Returns the number with three digits after its point at most, "-" when there is none.
std::string roundedText(std::optional<double> value);
/// Returns it with as many digits as the deviation gives a meaning; without a deviation, with all.
std::string roundedText(std::optional<double> value, std::optional<double> deviation);
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
  template <typename T>
  Value(const std::optional<T>& given) : data(orNull(given)) {}
  Value(const std::string& given) : data(orNull(given)) {}
  // NOLINTEND(google-explicit-constructor)
  Value(nlohmann::ordered_json held, std::string shown)
      : data(std::move(held)), text(std::move(shown)) {}

  nlohmann::ordered_json data;  ///< Null when it is not known.
  std::string text;             ///< Empty where people read `data`.
};

enum class Style {
  kPlace,  ///< What the row is about; such columns come first.
  kText,   ///< May be long.
  kValue,  ///< With its limits.
  kLine,   ///< Is not broken.
  kNumber
};

struct Cell {
  /// Returns the value for people; control characters are not escaped.
  std::string text() const;

  std::string name;  ///< A path in JSON, such as "seconds/median"; empty: for people only.
  Value value;
  std::string title = {};  ///< Of the column; empty: for machines only.
  Style style = Style::kText;
  /// Runs that people read of in place of the value: the id and the unit of each.
  std::vector<std::pair<std::string, std::string>> runs = {};
};
using Cells = std::vector<Cell>;

/// Returns all cells, with `prefix` before the names of those added.
Cells joined(Cells cells, Cells added, const std::string& prefix = "");
/// Returns the cells without their values.
Cells blank(Cells cells);
/// Prints a line of CSV, the values or the names of the cells.
void printCsv(std::ostream& out, const Cells& cells, bool asNames = false);
/// Returns the cells as an object; one in it of which nothing is known is null.
nlohmann::ordered_json objectOf(const Cells& cells);

// The fields of one run: what identifies it, and the rest.
Cells headOf(const Run& run, const Names& names);
Cells restOf(const Run& run, const Names& names);
Cells cellsOf(const PhaseResult& phase, const Names& names);
Cells cellsOf(const Measurement& measurement, const Names& names);

enum class TableKind {
  kYields,
  kHistory,
  kFailures,
  kFailedRuns,
  kMeasurements,
  kPhases,
  kTimes,
  kTrends
};
struct TableAbout {
  std::string_view name, title;
  size_t maxRows = SIZE_MAX;  ///< Among other tables.
};
inline constexpr std::array<TableAbout, 8> kTables = {
    {{"yields", "Yields"},
     {"history", "Runs on the unit, the newest first"},
     {"failures", "What fails"},
     {"failed-runs", "Runs that did not pass, the newest first", 20},
     {"measurements", "Measurements and checks, those that fail first"},
     {"phases", "Phases"},
     {"times", "Yields over time, the newest first", 24},
     {"trends", "Measurements that fail, over time", 24}}};

struct TableRow {
  Cells cells;
  std::string run = {};  ///< Its id, when the row is about one.
  uint32_t station = 0;
  int64_t span = 0;                                 ///< Of yields over time.
  const MeasurementSummary* measurement = nullptr;  ///< What the row is about.
};

struct SummaryTable : TableAbout {
  std::vector<TableRow> rows = {};
  uint64_t left = 0;  ///< Rows that were not kept.
};

SummaryTable tableOf(TableKind kind, const Results& results);

/// Returns how much was left out, by reason.
Cells leftOut(const ResultsSource& source);

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

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RESULTS_OUTPUT_H_
