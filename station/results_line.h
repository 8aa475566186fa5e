#ifndef CORVANE_STATION_RESULTS_LINE_H_
#define CORVANE_STATION_RESULTS_LINE_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "station/verdict.h"

/// The lines of results (docs/results.md): what their writer and their readers agree on.
namespace corvane::station {

/// Increased when a field of the results is renamed, removed or changes its meaning.
inline constexpr int kResultsSchema = 1;
/// A longer text in a line is cut, and its length told.
inline constexpr size_t kMaxResultsText = size_t{4} << 10;
/// A line has at most this many bytes, its line feed included.
inline constexpr size_t kMaxResultsLine = size_t{64} << 10;

/// The values of the field "type".
namespace line_type {
inline constexpr char kBegin[] = "begin";
inline constexpr char kPhaseBegin[] = "phaseBegin";
inline constexpr char kMeasurement[] = "measurement";  ///< Of a measurement or a check.
inline constexpr char kAttempt[] = "attempt";          ///< Ends an attempt that is repeated.
inline constexpr char kPhase[] = "phase";
inline constexpr char kNotice[] = "notice";
inline constexpr char kEnd[] = "end";
}  // namespace line_type

/// The names of fields.
namespace line_field {
// Of every line.
inline constexpr char kSchema[] = "schema";
inline constexpr char kType[] = "type";
inline constexpr char kTime[] = "time";
inline constexpr char kRun[] = "run";
inline constexpr char kStation[] = "station";
inline constexpr char kUnit[] = "unit";
// Of several types.
inline constexpr char kPhase[] = "phase";
inline constexpr char kVerdict[] = "verdict";
inline constexpr char kSeconds[] = "seconds";
inline constexpr char kReason[] = "reason";
inline constexpr char kCount[] = "count";
inline constexpr char kAttempt[] = "attempt";  ///< From 1; in phases with attempts only.
// Of "begin".
inline constexpr char kNumber[] = "number";
inline constexpr char kProgram[] = "program";
inline constexpr char kVersion[] = "version";
inline constexpr char kHost[] = "host";
inline constexpr char kFixture[] = "fixture";
inline constexpr char kOperator[] = "operator";
inline constexpr char kFacts[] = "facts";
inline constexpr char kBefore[] = "before";
// Of "measurement".
inline constexpr char kName[] = "name";
inline constexpr char kValue[] = "value";
inline constexpr char kUnitOfMeasure[] = "unitOfMeasure";
inline constexpr char kLower[] = "lower";
inline constexpr char kUpper[] = "upper";
inline constexpr char kInside[] = "inside";
inline constexpr char kCheck[] = "check";  ///< Of a check, as are the next two.
inline constexpr char kText[] = "text";    ///< Also of "notice".
inline constexpr char kExpected[] = "expected";
// Of "end".
inline constexpr char kAfter[] = "after";
}  // namespace line_field

namespace internal {
inline constexpr std::array<std::string_view, 7> kVerdictNames = {
    "passed", "failed", "incomplete", "refused", "untrusted", "misused", "unfinished"};
}  // namespace internal

/// Returns the verdict's name: "passed" ... "unfinished".
constexpr std::string_view nameOf(Verdict verdict) {
  return internal::kVerdictNames[static_cast<size_t>(verdict)];
}

/// Returns the verdict of the name, nothing for any other text.
constexpr std::optional<Verdict> verdictNamed(std::string_view name) {
  for (size_t i = 0; i < internal::kVerdictNames.size(); ++i) {
    if (internal::kVerdictNames[i] == name) return static_cast<Verdict>(i);
  }
  return std::nullopt;
}

}  // namespace corvane::station

#endif  // CORVANE_STATION_RESULTS_LINE_H_
