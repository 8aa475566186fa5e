#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_H_

#include <iterator>
#include <map>
#include <unordered_set>

#include "tools/results/run_reader.h"

namespace corvane::tools {

/// Counts values in at most 64 bins, whose width is the smallest power of two for that. It begins
/// with the precision of the first value and grows, so that only the counts are kept.
class Histogram {
 public:
  void add(double value);
  /// Returns the lower end of a bin; the upper one is that of the next number.
  double begin(int64_t bin) const;
  /// By the numbers of the bins; empty ones are left out.
  const std::map<int64_t, uint32_t>& counts() const { return _counts; }

 private:
  void widen();

  int _exponent = 0;  ///< The width of a bin is 2 to the power of it.
  std::map<int64_t, uint32_t> _counts;
};

/// Sums up values without keeping them, relative to the first one, so that little is lost where
/// they differ little.
class Moments {
 public:
  void add(double value);
  void add(const Moments& other);

  uint64_t count() const { return _count; }
  /// Returns nothing for no value.
  std::optional<double> mean() const;
  /// Returns nothing for fewer than two values, and when it exceeds all numbers.
  std::optional<double> deviation() const;

 private:
  uint64_t _count = 0;
  double _origin = 0;
  // The squares of the largest numbers have room where a long double has a wider exponent.
  long double _mean = 0;     ///< Of the distances from the origin.
  long double _squares = 0;  ///< Sum of the squared distances from the mean.
};

/// How the limits compare with the spread of the values: `potential` is the distance of the limits
/// over six deviations (Cp, Pp), `actual` the distance of the mean from the nearer limit over three
/// (Cpk, Ppk). Absent without the limits for it, and when the values do not vary.
struct Capability {
  std::optional<double> potential, actual;
};

/// What a station measured, or checked, under one name in one phase, with one pair of limits.
struct MeasurementSummary : MeasurementHead {
  void add(const Measurement& measurement, std::optional<int64_t> span);
  /// Returns the mean distance of each value from the one before it, over 1.128. Unlike the
  /// deviation of `values` it leaves out slow changes.
  std::optional<double> neighboursDeviation() const;
  Capability capability(std::optional<double> deviation) const;

  uint64_t count = 0;
  uint64_t outside = 0;     ///< Measurements outside their limits, and checks that failed.
  uint64_t notNumbers = 0;  ///< Measurements without a finite value, which are outside too.
  Moments values;
  std::optional<double> minimum, maximum;
  double last = 0;
  double distances = 0;  ///< Sum of the distances of neighbours.
  Histogram histogram;

  struct Time {
    Moments values;
    uint64_t outside = 0;
  };
  std::map<int64_t, Time> times;  ///< By span; empty when runs are grouped.
};

/// How long something takes, in seconds.
struct Duration {
  std::deque<float> all;  ///< Until all runs are known.
  std::optional<uint64_t> count;
  std::optional<double> median, percentile95;
};

/// Counts runs; one that is added twice in succession counts once.
struct RunCount {
  void add(uint64_t run) { runs += std::exchange(last, run) != run; }
  uint64_t runs = 0, last = 0;
};

struct PhaseSummary {
  RunCount all, failed;
  uint64_t repeatedAttempts = 0;
  Duration seconds;  ///< Of each time it ended.
};

/// Runs and units of a station, without refused runs. A run on a unit that is not identified counts
/// as a unit of its own.
struct Yield {
  uint64_t runs = 0, passed = 0;
  uint64_t firstUnits = 0;   ///< Units whose first run of all that were read is here.
  uint64_t firstPassed = 0;  ///< Of them, those that passed it.
  uint64_t units = 0;        ///< Not of a span of time, nor is the next.
  uint64_t lastPassed = 0;   ///< Units whose last run passed.
};

/// The runs of a station in which a phase failed, or a measurement in it was outside its limits.
struct Failure {
  uint32_t phase = 0;
  std::optional<uint32_t> measurement;
  uint64_t runs = 0;
  uint64_t ofRuns = 0;                          ///< The station's runs that were not refused.
  const MeasurementSummary* summary = nullptr;  ///< Of the measurement, with the limits that fail.
};

/// The runs of one station, or of one group of them.
struct StationSummary {
  /// Returns the failing phases, then the measurements, each with the most frequent first.
  std::vector<Failure> failures() const;
  std::vector<const MeasurementSummary*> failingFirst() const;

  uint32_t name = 0, group = 0;
  uint64_t runs = 0;
  std::array<uint64_t, kVerdicts> verdicts{};
  Yield yield;
  std::map<int64_t, Yield> times;  ///< By span of time.
  Duration seconds;
  std::unordered_set<int64_t> hours;        ///< In which a run began.
  std::map<uint32_t, PhaseSummary> phases;  ///< By name: in the order in which the names came.
  std::map<MeasurementHead, MeasurementSummary> measurements;
  std::map<std::pair<uint32_t, uint32_t>, RunCount> outside;  ///< By phase and measurement.
  uint64_t lastUnit = 0;   ///< The last one that the yields count.
  bool hasPassed = false;  ///< Its last run.
};

/// A run that did not pass, with the first thing that was wrong.
struct FailedRun : RunHead {
  uint32_t group = 0;
  uint32_t phase = 0;           ///< The first that failed, else the last.
  bool hasFailedPhase = false;  ///< It failed.
  std::optional<Measurement> measurement;
  bool hasPassedSince = false;  ///< The unit's last run at the station passed.
};

/// Keeps those of many things that are newest, by their times.
template <typename T, size_t kMax>
struct Newest {
  void add(const T& thing) {
    ++count;
    things.emplace(thing.time, thing);
    if (things.size() > kMax) things.erase(std::prev(things.end()));
  }

  uint64_t count = 0;                                ///< Of all, kept or not.
  std::multimap<int64_t, T, std::greater<>> things;  ///< The newest first.
};

/// Returns local time for hours since 1970-01-01 00:00 of the same clock: "2026-11-16T08:00".
std::string wallTimeText(int64_t hour);

/// The stations of many runs.
class Summary {
 public:
  static constexpr size_t kMaxGroups = 1000;
  static constexpr ptrdiff_t kMaxLimits = 32;

  /// Groups runs by the field of kGroupFields with this number, if any. Keeps whole runs as well
  /// when `withHistory` is true.
  Summary(const Names& names, std::optional<size_t> by, bool withHistory)
      : groupBy(by), _names(names), _withHistory(withHistory) {}

  /// Adds a run. One that is not `isTaken` counts only as an earlier or later run of its unit.
  void add(const Run& run, bool isTaken);
  /// Computes what needs all runs. Call it once, before what follows is read.
  void finish();

  const std::optional<size_t> groupBy;
  /// In the order in which they first came, each with its groups by name.
  std::deque<StationSummary> stations;
  Names groups;
  Newest<FailedRun, 500> failedRuns;
  Newest<Run, 1000> history;
  uint64_t runs = 0;
  int64_t firstTime = INT64_MAX, lastTime = INT64_MIN;
  /// How many hours each span of time has; the number of a span times this is its hour.
  int64_t spanHours = 1;

 private:
  struct Record {
    uint64_t unit;
    int64_t time;
    uint32_t station, order;
    uint32_t summary;  ///< The number in `stations`, or kNotTaken.
    bool isPassed;
  };
  static constexpr uint32_t kNotTaken = UINT32_MAX;

  int64_t hourAt(int64_t milliseconds);
  uint32_t stationOf(const Run& run);
  void widenSpans(int64_t hour);
  void addYields();
  void addPassesSince();

  const Names& _names;
  bool _withHistory;
  int64_t _quarter = INT64_MIN;  ///< The quarter of an hour for which the zone's offset is known.
  int64_t _offset = 0;
  int64_t _firstHour = INT64_MAX, _lastHour = INT64_MIN;
  std::unordered_map<uint64_t, uint32_t> _stationAt;
  std::deque<Record> _records;  ///< Of the runs that were not refused.
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_H_
