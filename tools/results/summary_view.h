#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>

#include "tools/results/summary.h"

namespace corvane::tools {

/// Returns "87.50 %"; "-" when `whole` is 0.
std::string percentText(uint64_t part, uint64_t whole);
/// Returns the number with six digits at most; "-" when it is absent.
std::string numberText(std::optional<double> value);

/// Prints three tables: yields by station, what made runs fail, and measurements.
void printSummary(std::ostream& out, const Summary& summary, const Names& names);

nlohmann::ordered_json summaryAsJson(const Summary& summary, const Names& names);

/// Returns one page with the same and a histogram of each measurement; it loads nothing.
std::string summaryAsHtml(const Summary& summary, const Names& names);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_VIEW_H_
