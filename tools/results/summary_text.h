#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_TEXT_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_TEXT_H_

#include <optional>
#include <string>

#include "tools/results/summary.h"

/// Numbers of a summary as people read them.
namespace corvane::tools {

/// Returns "87.50 %"; "-" when `whole` is 0.
std::string percentText(uint64_t part, uint64_t whole);
/// Returns the number with three digits after its point at most; "-" when it is absent.
std::string roundedText(std::optional<double> value);
/// Returns the number with as many digits as a deviation gives it a meaning.
std::string roundedTo(double value, double deviation);
/// Returns the mean with as many digits as the deviation gives it a meaning.
std::string meanText(const Moments& moments);
/// Returns "3.2 to 3.4", "at most 3.4", "at least 3.2", "various" or "-".
std::string limitsText(const MeasurementSummary& measurement);
/// Returns what was measured, with its limits, or checked: "3.5 V (3.2 to 3.4)".
std::string valueText(const Measurement& measurement, const Names& names);
/// Returns "loudness, dB".
std::string nameText(const MeasurementSummary& measurement, const Names& names);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_TEXT_H_
