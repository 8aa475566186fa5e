#ifndef CORVANE_TOOLS_RESULTS_CHARTS_H_
#define CORVANE_TOOLS_RESULTS_CHARTS_H_

#include <cstdint>
#include <map>
#include <string>

#include "tools/results/summary.h"

/// The charts of the results page, as HTML figures. Titles are text, not markup.
namespace corvane::tools {

/// Returns a histogram of the measurement with its limits and, when it was outside them, its mean
/// and deviation over time. `id` is what links name.
std::string measurementChart(const MeasurementSummary& measurement, const std::string& id,
                             const std::string& title, int64_t spanHours);

/// Returns the share of runs that passed over time.
std::string yieldChart(const std::map<int64_t, YieldTime>& times, const std::string& title,
                       int64_t spanHours);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_CHARTS_H_
