#ifndef CORVANE_TOOLS_RESULTS_RUN_READER_H_
#define CORVANE_TOOLS_RESULTS_RUN_READER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "station/results_line.h"

/// Runs of stations, as read from the lines of their results (docs/results.md).
namespace corvane::tools {

using station::Verdict;
inline constexpr size_t kVerdicts = station::internal::kVerdictNames.size();

/// Numbers for recurring texts: names of stations, phases, measurements. The empty text is 0.
class Names {
 public:
  Names() { idOf(""); }
  /// Returns the number of `text`, a new one when it did not come before.
  uint32_t idOf(std::string_view text) {
    if (const auto known = _ids.find(text); known != _ids.end()) return known->second;
    const auto id = static_cast<uint32_t>(_texts.size());
    _ids.emplace(_texts.emplace_back(text), id);
    return id;
  }
  const std::string& text(uint32_t id) const { return _texts[id]; }

 private:
  std::deque<std::string> _texts;
  std::unordered_map<std::string_view, uint32_t> _ids;
};

/// What a measurement or a check is. Names are numbers of Names, here and below.
struct MeasurementHead {
  // Not a default <=>: not every C++ library compares two optional values by it.
  auto fields() const {
    return std::tie(phase, name, unitOfMeasure, isCheck, hasVariousLimits, lower, upper);
  }
  bool operator<(const MeasurementHead& other) const { return fields() < other.fields(); }

  uint32_t phase = 0;
  uint32_t name = 0;
  uint32_t unitOfMeasure = 0;
  bool isCheck = false;
  bool hasVariousLimits = false;  ///< It stands for many, in a summary.
  std::optional<double> lower, upper;
};

struct Measurement : MeasurementHead {
  uint32_t attempt = 0;  ///< From 1 in a phase that may be repeated, else 0.
  bool isInside = false;
  bool isRepeated = false;      ///< It belongs to an attempt that was repeated, and does not count.
  std::optional<double> value;  ///< Absent when it was not a finite number, and for a check.
  std::string text;             ///< What was checked.
  std::string expected;         ///< What the check expected.
};

struct PhaseResult {
  uint32_t name = 0;
  Verdict verdict = Verdict::kUnfinished;
  double seconds = 0;
  std::string reason;
  bool isBegun = false;
};

/// What runs can be grouped by: their `fields`, which are in the first line, and the local day on
/// which they begin.
inline constexpr std::array<std::string_view, 7> kGroupFields = {
    "host", "fixture", "operator", "program", "model", "build", "day"};

struct RunHead {
  std::string id;
  uint32_t station = 0;
  std::string unit;      ///< Empty when the unit is not identified.
  int64_t time = 0;      ///< Of its first line, in milliseconds since 1970.
  std::string timeText;  ///< The same, as the line has it.
  uint32_t count = 0;    ///< Among the station's runs on the unit; 0 when not known.
  Verdict verdict = Verdict::kUnfinished;
  double seconds = 0;
  std::string reason;
  std::array<uint32_t, kGroupFields.size() - 1> fields{};
};

struct Run : RunHead {
  std::vector<PhaseResult> phases;
  std::vector<Measurement> measurements;
  /// The attempts that were repeated: phase and number.
  std::vector<std::pair<uint32_t, uint32_t>> repeatedAttempts;
};

/// What was read, for those who read a summary without the command line.
struct ResultsSource {
  std::vector<std::string> paths;
  /// The options that chose runs, such as "--since 2026-11-16".
  std::vector<std::string> filters;
  bool hasYields = true;  ///< Runs of a verdict alone have none.
  uint64_t files = 0, damagedLines = 0, repeatedLines = 0, unreadableFiles = 0;
};

/// Returns the files that `source.paths` name; of a folder, those in it and below it that end in
/// ".jsonl" or ".json", in the order of their names. Counts folders that cannot be read, and
/// names them on standard error.
std::vector<std::string> findResults(ResultsSource& source);

/// Reads the files, "-" for standard input, and calls `take` with each run when all that is known
/// of it has been read. A run is known by its id: its lines may lie in several files, and lines
/// that were read before count once. Counts what is damaged or cannot be read, and names it on
/// standard error.
void readRuns(const std::vector<std::string>& files, Names& names, ResultsSource& source,
              const std::function<void(const Run&)>& take);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_READER_H_
