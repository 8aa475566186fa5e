#ifndef CORVANE_TOOLS_RESULTS_RUN_H_
#define CORVANE_TOOLS_RESULTS_RUN_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// Runs of stations, as their results describe them (docs/results.md).
namespace corvane::tools {

/// Numbers for recurring texts: names of stations, phases, measurements.
class Names {
 public:
  /// Returns the number of `text`, from 0; a new one when it did not come before.
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

enum class RunVerdict : uint8_t {
  kPassed,
  kFailed,
  kIncomplete,  ///< A signal ended the run.
  kRefused,
  kUntrusted,
  kUnfinished,  ///< Its results have no end.
};

/// Returns the verdict's name: "passed" ... "unfinished".
const char* nameOf(RunVerdict verdict);
/// Returns the verdict of that name; nothing when there is none.
std::optional<RunVerdict> verdictOf(std::string_view name);

struct Measurement {
  uint32_t phase = 0;
  uint32_t name = 0;
  uint32_t unitOfMeasure = 0;
  bool isInside = false;
  std::optional<double> value;  ///< Absent when it was not a finite number.
  std::optional<double> lower;
  std::optional<double> upper;
};

struct PhaseResult {
  uint32_t name = 0;
  RunVerdict verdict = RunVerdict::kUnfinished;
  double seconds = 0;
  std::string reason;
};

struct Run {
  std::string id;
  uint32_t station = 0;
  std::string unit;      ///< Empty when the unit is not identified.
  int64_t time = 0;      ///< Of its first line, in milliseconds since 1970.
  std::string timeText;  ///< The same, as the line has it.
  uint32_t count = 0;    ///< Among the station's runs on the unit; 0 when not known.
  RunVerdict verdict = RunVerdict::kUnfinished;
  double seconds = 0;
  std::string reason;
  std::vector<PhaseResult> phases;
  std::vector<Measurement> measurements;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_H_
