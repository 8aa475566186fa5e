#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_TABLES_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_TABLES_H_

#include <array>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/results/cells.h"
#include "tools/results/summary.h"

/// The tables of a summary, for a terminal, a page and CSV, and the same as JSON.
namespace corvane::tools {

/// What a summary was made of, for those who read it without the command line.
struct ResultsSource {
  std::vector<std::string> paths;
  uint64_t files = 0;
  /// The options that chose runs, such as "--since 2026-11-16".
  std::vector<std::string> filters;
  /// Runs of a verdict alone have no yields.
  bool hasYields = true;
  uint64_t damagedLines = 0, repeatedLines = 0, unreadableFiles = 0;
};

/// Returns what was left out, each with its number; empty when nothing was.
std::vector<std::pair<std::string, uint64_t>> leftOut(const ResultsSource& source);

struct Results {
  const Summary& summary;
  const Names& names;
  const ResultsSource& source;
};

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
  std::string run = {};                             ///< Its id, when the row is about one.
  const MeasurementSummary* measurement = nullptr;  ///< What the row is about.
  std::vector<const FailedRun*> failed = {};        ///< The newest runs that failed in this way.
};

struct SummaryTable {
  std::vector<TableRow> rows;
  uint64_t left = 0;  ///< Rows that were not kept.
};

SummaryTable tableOf(TableKind kind, const Results& results);
std::string titleOf(TableKind kind);

nlohmann::ordered_json summaryAsJson(const Results& results);

/// Prints the tables that have rows, the first rows of those that may be long. With a history, only
/// that and the yields.
void printSummary(std::ostream& out, const Results& results);
/// Prints all rows of one table, for people or as CSV.
void printTable(std::ostream& out, TableKind kind, const Results& results, bool asCsv);

/// Returns one page with the tables and a chart of each measurement; it loads nothing. `madeAt` is
/// the time of its making.
std::string summaryAsHtml(const Results& results, const std::string& madeAt);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_TABLES_H_
