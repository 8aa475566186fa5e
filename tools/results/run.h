#ifndef CORVANE_TOOLS_RESULTS_RUN_H_
#define CORVANE_TOOLS_RESULTS_RUN_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "station/results_line.h"

/// Runs of stations, as their results describe them (docs/results.md).
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
  bool has(std::string_view text) const { return _ids.contains(text); }
  size_t size() const { return _texts.size(); }
  const std::string& text(uint32_t id) const { return _texts[id]; }

 private:
  std::deque<std::string> _texts;
  std::unordered_map<std::string_view, uint32_t> _ids;
};

/// What the first line of a run tells of it, as numbers of Names.
enum class RunField : uint8_t { kHost, kFixture, kOperator, kProgram, kModel, kBuild };
inline constexpr std::array<std::string_view, 6> kRunFieldNames = {"host",    "fixture", "operator",
                                                                   "program", "model",   "build"};

/// A measurement or a check.
struct Measurement {
  uint32_t phase = 0;
  uint32_t name = 0;
  uint32_t unitOfMeasure = 0;
  uint32_t attempt = 0;  ///< From 1 in a phase that may be repeated, else 0.
  bool isInside = false;
  bool isCheck = false;
  /// It belongs to an attempt that was repeated, and does not count.
  bool isRepeated = false;
  std::optional<double> value;  ///< Absent when it was not a finite number, and for a check.
  std::optional<double> lower;
  std::optional<double> upper;
  std::string text;      ///< What was checked.
  std::string expected;  ///< What the check expected.
};

struct PhaseResult {
  uint32_t name = 0;
  Verdict verdict = Verdict::kUnfinished;
  double seconds = 0;
  std::string reason;
  bool isBegun = false;
};

struct Run {
  std::string id;
  uint32_t station = 0;
  std::string unit;      ///< Empty when the unit is not identified.
  int64_t time = 0;      ///< Of its first line, in milliseconds since 1970.
  std::string timeText;  ///< The same, as the line has it.
  uint32_t count = 0;    ///< Among the station's runs on the unit; 0 when not known.
  Verdict verdict = Verdict::kUnfinished;
  double seconds = 0;
  std::string reason;
  std::array<uint32_t, kRunFieldNames.size()> fields{};
  std::vector<PhaseResult> phases;
  std::vector<Measurement> measurements;
  /// The attempts that were repeated: phase and number.
  std::vector<std::pair<uint32_t, uint32_t>> repeatedAttempts;

  uint32_t field(RunField which) const { return fields[static_cast<size_t>(which)]; }
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_H_
