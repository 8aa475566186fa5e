#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/results/summary.h"

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

/// Returns "87.50 %"; "-" when `whole` is 0.
std::string percentText(uint64_t part, uint64_t whole);
/// Returns the number in the shortest form that reads back; "-" when it is absent.
std::string numberText(std::optional<double> value);
/// Returns the number with three digits after its point at most; "-" when it is absent.
std::string roundedText(std::optional<double> value);
/// Returns the number with as many digits as a deviation gives it a meaning.
std::string roundedTo(double value, double deviation);
/// Returns the mean with as many digits as the deviation gives it a meaning.
std::string meanText(const Statistics& statistics);
/// Returns "3.2 to 3.4", "at most 3.4", "at least 3.2", "various" or "-".
std::string limitsText(const MeasurementSummary& measurement);
/// Returns what was measured, with its limits, or checked: "3.5 V (3.2 to 3.4)".
std::string valueText(const Measurement& measurement, const Names& names);
/// Returns "loudness, dB".
std::string nameText(const MeasurementSummary& measurement, const Names& names);
/// Returns what was left out, a sentence each; empty when nothing was.
std::vector<std::string> leftOut(const ResultsSource& source);

/// Prints tables: yields by station, what made runs fail, the runs that did not pass, measurements,
/// times. With a history, the runs one by one in their place.
void printSummary(std::ostream& out, const Summary& summary, const Names& names,
                  const ResultsSource& source);

nlohmann::ordered_json summaryAsJson(const Summary& summary, const Names& names,
                                     const ResultsSource& source);

/// Returns one page with the same and a chart of each measurement; it loads nothing. `madeAt` is
/// the time of its making.
std::string summaryAsHtml(const Summary& summary, const Names& names, const ResultsSource& source,
                          const std::string& madeAt);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_
