#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_H_

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/results/run.h"
#include "tools/results/statistics.h"

/// What many runs amount to, from one look at each of them.
namespace corvane::tools {

/// What runs can be grouped by: the fields of RunField, or the local day on which they begin.
inline constexpr std::array<std::string_view, 7> kGroupFields = {
    "host", "fixture", "operator", "program", "model", "build", "day"};

/// Local time: hours since 1970-01-01 00:00 as the clock on the wall counts them.
class WallClock {
 public:
  int64_t hourAt(int64_t milliseconds);

 private:
  int64_t _quarter = INT64_MIN;  ///< The quarter of an hour for which the offset is known.
  int64_t _offset = 0;
};

/// Returns "2026-11-16T08:00" for an hour of a WallClock.
std::string wallTimeText(int64_t hour);

/// What a measurement was within one span of time.
struct MeasurementTime {
  Moments moments;
  uint64_t outside = 0;
};

/// What a station measured, or checked, under one name in one phase, with one pair of limits.
struct MeasurementSummary {
  uint32_t phase = 0;
  uint32_t name = 0;
  uint32_t unitOfMeasure = 0;
  bool isCheck = false;
  bool hasVariousLimits = false;  ///< It stands for all limits after the first kMaxLimits.
  std::optional<double> lower;
  std::optional<double> upper;
  Statistics statistics;
  uint64_t count = 0;
  uint64_t outside = 0;     ///< Measurements outside their limits, and checks that failed.
  uint64_t notNumbers = 0;  ///< Measurements without a finite value, which are outside too.
  std::map<int64_t, MeasurementTime> times;  ///< By span; empty when runs are grouped.
};

/// The runs of a station in which a phase failed, or a measurement in it was outside its limits.
struct Failure {
  uint32_t phase = 0;
  std::optional<uint32_t> measurement;
  uint64_t runs = 0;
  uint64_t ofRuns = 0;                          ///< The station's runs that were not refused.
  const MeasurementSummary* summary = nullptr;  ///< Of the measurement, with the limits that fail.
};

/// How long something takes, in seconds.
struct Duration {
  uint64_t count = 0;
  float median = 0, percentile95 = 0;
};

struct PhaseSummary {
  uint32_t name = 0;
  uint64_t runs = 0, failedRuns = 0;
  uint64_t repeatedAttempts = 0;
  std::deque<float> seconds;  ///< Of each time it ended.
  Duration duration;          ///< The same, once all runs are known.
  uint64_t lastRun = 0, lastFailedRun = 0;
};

/// The units of a station. Refused runs do not count; a run on a unit that is not identified counts
/// as a unit of its own.
struct Yield {
  uint64_t units = 0;
  uint64_t lastPassed = 0;   ///< Units whose last run passed.
  uint64_t firstUnits = 0;   ///< Units whose first run of all that were read is here.
  uint64_t firstPassed = 0;  ///< Of them, those that passed it.
};

struct YieldTime {
  uint64_t runs = 0, passed = 0;
  uint64_t firstUnits = 0, firstPassed = 0;
};

/// A run that did not pass, with the first thing that was wrong.
struct FailedRun {
  std::string run, unit, timeText, reason;
  uint32_t station = 0, group = 0;
  Verdict verdict = Verdict::kFailed;
  uint32_t phase = 0;
  std::optional<Measurement> measurement;
  bool hasPassedSince = false;  ///< The unit's last run at the station passed.
};

/// Keeps those of many things that are newest, by their times.
template <typename T, size_t kMax>
struct Newest {
  /// Adds a thing; `make` returns it, and is called only if it is kept.
  template <typename Make>
  void add(int64_t time, Make make) {
    ++count;
    if (things.size() == kMax) {
      if (time < things.rbegin()->first) return;
      things.erase(std::prev(things.end()));
    }
    things.emplace(time, make());
  }

  uint64_t count = 0;                                ///< Of all, kept or not.
  std::multimap<int64_t, T, std::greater<>> things;  ///< The newest first.
};

/// The runs of one station, or of one group of them.
class StationSummary {
 public:
  StationSummary(uint32_t name, uint32_t group) : _name(name), _group(group) {}

  uint32_t name() const { return _name; }
  uint32_t group() const { return _group; }
  uint64_t runs() const;
  uint64_t runs(Verdict verdict) const { return _runs[static_cast<size_t>(verdict)]; }
  /// Returns the runs that were not refused.
  uint64_t testedRuns() const { return runs() - runs(Verdict::kRefused); }
  const Yield& yield() const { return _yield; }
  /// Returns the yields by span of time.
  const std::map<int64_t, YieldTime>& times() const { return _times; }
  /// Returns the failing phases, then the measurements, each with the most frequent first.
  std::vector<Failure> failures() const;
  /// Returns the measurements in the order in which they first came; `failingFirst` those first
  /// that were outside most often.
  const std::deque<MeasurementSummary>& measurements() const { return _measurements; }
  std::vector<const MeasurementSummary*> failingFirst() const;
  const std::deque<PhaseSummary>& phases() const { return _phases; }
  const Duration& duration() const { return _duration; }
  /// Returns the runs for each hour of the clock in which there was one.
  double runsPerHour() const;

 private:
  friend class Summary;
  /// Phase and name, unit and whether it is a check, and the bits of the limits.
  using Key = std::array<uint64_t, 4>;
  struct KeyHash {
    size_t operator()(const Key& key) const;
  };
  struct RunsOutside {
    uint64_t runs = 0, lastRun = 0;
  };

  void add(const Run& run, int64_t hour, std::optional<int64_t> span);
  void addPhases(const Run& run, uint64_t number);
  void addMeasurement(const Measurement& measurement, uint64_t run, std::optional<int64_t> span);
  MeasurementSummary& summaryOf(const Measurement& measurement);
  /// Joins `factor` spans of time each.
  void joinTimes(int64_t factor);

  uint32_t _name, _group;
  std::array<uint64_t, kVerdicts> _runs{};
  Yield _yield;
  uint64_t _unitSeen = 0;  ///< The unit whose last run was counted.
  std::map<int64_t, YieldTime> _times;
  std::deque<float> _seconds;
  Duration _duration;
  std::unordered_set<int64_t> _hours;
  std::deque<PhaseSummary> _phases;
  std::unordered_map<uint32_t, size_t> _phaseAt;
  std::deque<MeasurementSummary> _measurements;
  std::unordered_map<Key, size_t, KeyHash> _measurementAt;
  /// How many limits came for a measurement.
  std::unordered_map<Key, size_t, KeyHash> _limits;
  std::map<std::pair<uint32_t, uint32_t>, RunsOutside> _runsOutside;
};

/// The stations of many runs.
class Summary {
 public:
  static constexpr size_t kMaxGroups = 1000;
  static constexpr size_t kMaxLimits = 32;
  using FailedRuns = Newest<FailedRun, 500>;
  using History = Newest<Run, 1000>;

  /// Groups runs by the field of kGroupFields with this number, if any. Keeps whole runs as well
  /// when `withHistory` is true.
  Summary(const Names& names, std::optional<size_t> groupBy, bool withHistory)
      : _names(names), _groupBy(groupBy), _withHistory(withHistory) {}

  /// Adds a run. One that is not `isTaken` counts only as an earlier or later run of its unit.
  void add(const Run& run, bool isTaken);
  /// Computes what needs all runs. Call it once, before the functions below.
  void finish();

  /// Returns the stations in the order in which they first came, each with its groups by name.
  const std::deque<StationSummary>& stations() const { return _stations; }
  /// Returns the measurements of all stations, those of a station that fail first; with groups, a
  /// measurement's groups follow each other.
  std::vector<std::pair<const StationSummary*, const MeasurementSummary*>> measurements() const;
  const FailedRuns& failedRuns() const { return _failedRuns; }
  const History& history() const { return _history; }
  const std::string& groupName(uint32_t group) const { return _groups.text(group); }
  std::optional<size_t> groupBy() const { return _groupBy; }
  /// Returns how many hours each span of time has; the number of a span times this is its hour.
  int64_t spanHours() const { return _spanHours; }
  /// Returns the times at which the first and the last run began; nothing without a run.
  std::optional<std::pair<int64_t, int64_t>> period() const { return _period; }
  uint64_t runs() const;

 private:
  struct Record {
    uint64_t unit;
    int64_t time;
    uint32_t station, order;
    uint32_t summary;  ///< The number in `_stations`, or kNotTaken.
    Verdict verdict;
  };
  static constexpr uint32_t kNotTaken = UINT32_MAX;

  uint32_t groupOf(const Run& run);
  uint32_t stationOf(const Run& run);
  void widenSpans(int64_t hour);
  void addFailedRun(const Run& run, uint32_t group);
  using Records = std::deque<Record>;
  /// Counts the runs of a unit at a station, which are in the order of their times.
  void addUnit(Records::iterator begin, Records::iterator end);

  const Names& _names;
  std::optional<size_t> _groupBy;
  bool _withHistory;
  WallClock _clock;
  Names _groups;
  std::deque<StationSummary> _stations;
  std::unordered_map<uint64_t, uint32_t> _stationAt;
  Records _records;
  FailedRuns _failedRuns;
  History _history;
  std::optional<std::pair<int64_t, int64_t>> _period;
  int64_t _spanHours = 1, _firstHour = INT64_MAX, _lastHour = INT64_MIN;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_H_
