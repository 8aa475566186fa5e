#include "tools/results/summary.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <ctime>
#include <functional>
#include <numeric>
#include <tuple>
#include <utility>

namespace corvane::tools {
namespace {

/// With more spans of time than this, they are joined to longer ones.
constexpr int64_t kMaxSpans = 100;

int64_t floorOf(int64_t number, int64_t divisor) {
  return number / divisor - (number % divisor < 0);
}

/// Returns the hours of the next longer span: an hour, a day, a week, four weeks, and so on.
int64_t longerSpan(int64_t hours) {
  if (hours == 1) return 24;
  return hours == 24 ? hours * 7 : hours == 168 ? hours * 4 : hours * 2;
}

/// Returns a hash of the unit's identity. One that is not identified is another in each run.
uint64_t unitKey(const std::string& unit, const std::string& run) {
  return unit.empty() ? ~std::hash<std::string>()(run) : std::hash<std::string>()(unit);
}

Duration durationOf(const std::deque<float>& seconds) {
  if (seconds.empty()) return {};
  std::vector<float> values(seconds.begin(), seconds.end());
  return {values.size(), percentile(values, 50), percentile(values, 95)};
}

}  // namespace

int64_t WallClock::hourAt(int64_t milliseconds) {
  const int64_t quarter = floorOf(milliseconds, 900'000);
  if (quarter != _quarter) {
    const auto time = static_cast<time_t>(quarter * 900);
    struct tm fields {};
    _offset = ::localtime_r(&time, &fields) ? fields.tm_gmtoff : 0;
    _quarter = quarter;
  }
  return floorOf(quarter * 900 + _offset, 3600);
}

std::string wallTimeText(int64_t hour) {
  const auto time = static_cast<time_t>(hour * 3600);
  struct tm fields {};
  char text[64] = "";
  if (::gmtime_r(&time, &fields)) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M", &fields);
  return text;
}

size_t StationSummary::KeyHash::operator()(const Key& key) const {
  const std::string_view bytes(reinterpret_cast<const char*>(key.data()), sizeof key);
  return std::hash<std::string_view>()(bytes);
}

uint64_t StationSummary::runs() const {
  return std::accumulate(_runs.begin(), _runs.end(), uint64_t{0});
}

double StationSummary::runsPerHour() const {
  return _hours.empty() ? 0
                        : static_cast<double>(testedRuns()) / static_cast<double>(_hours.size());
}

void StationSummary::add(const Run& run, int64_t hour, std::optional<int64_t> span) {
  ++_runs[static_cast<size_t>(run.verdict)];
  if (run.verdict != Verdict::kRefused) {
    _hours.insert(hour);
    if (run.verdict != Verdict::kUnfinished) _seconds.push_back(static_cast<float>(run.seconds));
  }
  const uint64_t number = runs();
  addPhases(run, number);
  for (const Measurement& measurement : run.measurements) {
    if (!measurement.isRepeated) addMeasurement(measurement, number, span);
  }
}

void StationSummary::addPhases(const Run& run, uint64_t number) {
  const auto summaryOf = [&](uint32_t name) -> PhaseSummary& {
    const auto [entry, isNew] = _phaseAt.try_emplace(name, _phases.size());
    if (isNew) _phases.emplace_back().name = name;
    return _phases[entry->second];
  };
  for (const PhaseResult& phase : run.phases) {
    PhaseSummary& summary = summaryOf(phase.name);
    // A phase that a run has twice counts once.
    summary.runs += std::exchange(summary.lastRun, number) != number;
    if (phase.verdict == Verdict::kUnfinished) continue;
    summary.seconds.push_back(static_cast<float>(phase.seconds));
    if (phase.verdict != Verdict::kFailed) continue;
    summary.failedRuns += std::exchange(summary.lastFailedRun, number) != number;
  }
  for (const auto& [phase, attempt] : run.repeatedAttempts) ++summaryOf(phase).repeatedAttempts;
}

MeasurementSummary& StationSummary::summaryOf(const Measurement& measurement) {
  // The bits of no number that JSON can hold.
  constexpr uint64_t kNoLimit = UINT64_MAX, kVariousLimits = UINT64_MAX - 1;
  const auto bits = [](std::optional<double> limit) {
    return limit ? std::bit_cast<uint64_t>(*limit) : kNoLimit;
  };
  Key key = {uint64_t{measurement.phase} << 32 | measurement.name,
             uint64_t{measurement.unitOfMeasure} << 1 | measurement.isCheck,
             bits(measurement.lower), bits(measurement.upper)};
  auto known = _measurementAt.find(key);
  if (known == _measurementAt.end() && _limits[{key[0], key[1], 0, 0}]++ >= Summary::kMaxLimits) {
    key[2] = key[3] = kVariousLimits;
    known = _measurementAt.find(key);
  }
  if (known != _measurementAt.end()) return _measurements[known->second];
  _measurementAt.emplace(key, _measurements.size());
  MeasurementSummary& summary = _measurements.emplace_back();
  summary.phase = measurement.phase;
  summary.name = measurement.name;
  summary.unitOfMeasure = measurement.unitOfMeasure;
  summary.isCheck = measurement.isCheck;
  summary.hasVariousLimits = key[2] == kVariousLimits;
  if (summary.hasVariousLimits) return summary;
  summary.lower = measurement.lower;
  summary.upper = measurement.upper;
  return summary;
}

void StationSummary::addMeasurement(const Measurement& measurement, uint64_t run,
                                    std::optional<int64_t> span) {
  MeasurementSummary& summary = summaryOf(measurement);
  ++summary.count;
  summary.outside += !measurement.isInside;
  if (measurement.value) {
    summary.statistics.add(*measurement.value);
  } else if (!measurement.isCheck) {
    ++summary.notNumbers;
  }
  if (span) {
    MeasurementTime& time = summary.times[*span];
    if (measurement.value) time.moments.add(*measurement.value);
    time.outside += !measurement.isInside;
  }
  if (measurement.isInside) return;
  RunsOutside& outside = _runsOutside[{measurement.phase, measurement.name}];
  outside.runs += std::exchange(outside.lastRun, run) != run;
}

void StationSummary::joinTimes(int64_t factor) {
  for (MeasurementSummary& measurement : _measurements) {
    std::map<int64_t, MeasurementTime> times;
    for (const auto& [span, time] : measurement.times) {
      MeasurementTime& joined = times[floorOf(span, factor)];
      joined.moments.add(time.moments);
      joined.outside += time.outside;
    }
    measurement.times.swap(times);
  }
}

std::vector<Failure> StationSummary::failures() const {
  std::vector<Failure> failures;
  for (const PhaseSummary& phase : _phases) {
    if (phase.failedRuns > 0) failures.push_back({phase.name, {}, phase.failedRuns, testedRuns()});
  }
  const std::vector<const MeasurementSummary*> measurements = failingFirst();
  for (const auto& [name, outside] : _runsOutside) {
    const auto same =
        std::ranges::find_if(measurements, [wanted = name](const MeasurementSummary* each) {
          return std::pair(each->phase, each->name) == wanted;
        });
    failures.push_back({name.first, name.second, outside.runs, testedRuns(), *same});
  }
  std::ranges::stable_sort(failures, {}, [](const Failure& failure) {
    return std::pair(failure.measurement.has_value(), UINT64_MAX - failure.runs);
  });
  return failures;
}

std::vector<const MeasurementSummary*> StationSummary::failingFirst() const {
  std::vector<const MeasurementSummary*> sorted;
  for (const MeasurementSummary& measurement : _measurements) sorted.push_back(&measurement);
  std::ranges::stable_sort(sorted, std::greater<>(), &MeasurementSummary::outside);
  return sorted;
}

uint64_t Summary::runs() const {
  uint64_t runs = 0;
  for (const StationSummary& station : _stations) runs += station.runs();
  return runs;
}

uint32_t Summary::groupOf(const Run& run) {
  if (!_groupBy) return 0;
  std::string text = *_groupBy < run.fields.size()
                         ? _names.text(run.fields[*_groupBy])
                         : wallTimeText(_clock.hourAt(run.time)).substr(0, 10);
  if (text.empty()) text = "(unknown)";
  return _groups.idOf(_groups.size() <= kMaxGroups || _groups.has(text) ? text : "other");
}

uint32_t Summary::stationOf(const Run& run) {
  const uint32_t group = groupOf(run);
  const auto [entry, isNew] =
      _stationAt.try_emplace(uint64_t{run.station} << 32 | group, _stations.size());
  if (isNew) _stations.emplace_back(run.station, group);
  return entry->second;
}

void Summary::widenSpans(int64_t hour) {
  _firstHour = std::min(_firstHour, hour);
  _lastHour = std::max(_lastHour, hour);
  while (floorOf(_lastHour, _spanHours) - floorOf(_firstHour, _spanHours) >= kMaxSpans) {
    const int64_t longer = longerSpan(_spanHours);
    for (StationSummary& station : _stations) station.joinTimes(longer / _spanHours);
    _spanHours = longer;
  }
}

void Summary::addFailedRun(const Run& run, uint32_t group) {
  FailedRun failed;
  failed.run = run.id;
  failed.unit = run.unit;
  failed.timeText = run.timeText;
  failed.reason = run.reason;
  failed.station = run.station;
  failed.group = group;
  failed.verdict = run.verdict;
  const auto phase = std::ranges::find(run.phases, Verdict::kFailed, &PhaseResult::verdict);
  if (phase != run.phases.end()) {
    failed.phase = phase->name;
    if (!phase->reason.empty()) failed.reason = phase->reason;
  } else if (!run.phases.empty()) {
    failed.phase = run.phases.back().name;
  }
  const auto outside = std::ranges::find_if(run.measurements, [&](const Measurement& measurement) {
    return !measurement.isInside && !measurement.isRepeated &&
           (phase == run.phases.end() || measurement.phase == phase->name);
  });
  if (outside != run.measurements.end()) failed.measurement = *outside;
  _failedRuns.add(run.time, [&] { return failed; });
}

void Summary::add(const Run& run, bool isTaken) {
  const uint32_t at = isTaken ? stationOf(run) : kNotTaken;
  _records.push_back({unitKey(run.unit, run.id), run.time, run.station,
                      static_cast<uint32_t>(_records.size()), at, run.verdict});
  if (!isTaken) return;
  const int64_t hour = _clock.hourAt(run.time);
  widenSpans(hour);
  StationSummary& station = _stations[at];
  station.add(run, hour, _groupBy ? std::nullopt : std::optional(floorOf(hour, _spanHours)));
  if (!_period) _period = {run.time, run.time};
  _period = {std::min(_period->first, run.time), std::max(_period->second, run.time)};
  if (run.verdict != Verdict::kPassed && run.verdict != Verdict::kRefused) {
    addFailedRun(run, station.group());
  }
  if (_withHistory) _history.add(run.time, [&] { return run; });
}

void Summary::addUnit(Records::iterator begin, Records::iterator end) {
  bool isFirst = true;
  for (auto run = begin; run != end; ++run) {
    if (run->verdict == Verdict::kRefused) continue;
    const bool isFirstRun = std::exchange(isFirst, false);
    if (run->summary == kNotTaken) continue;
    const bool isPassed = run->verdict == Verdict::kPassed;
    StationSummary& station = _stations[run->summary];
    YieldTime& time = station._times[floorOf(_clock.hourAt(run->time), _spanHours)];
    ++time.runs;
    time.passed += isPassed;
    time.firstUnits += isFirstRun;
    time.firstPassed += isFirstRun && isPassed;
    station._yield.firstUnits += isFirstRun;
    station._yield.firstPassed += isFirstRun && isPassed;
  }
  // The last run in each group is the first one from behind.
  for (auto run = end; run-- != begin;) {
    if (run->verdict == Verdict::kRefused || run->summary == kNotTaken) continue;
    if (std::exchange(_stations[run->summary]._unitSeen, begin->order + 1) == begin->order + 1) {
      continue;
    }
    Yield& yield = _stations[run->summary]._yield;
    ++yield.units;
    yield.lastPassed += run->verdict == Verdict::kPassed;
  }
}

std::vector<std::pair<const StationSummary*, const MeasurementSummary*>> Summary::measurements()
    const {
  std::vector<std::pair<const StationSummary*, const MeasurementSummary*>> all;
  for (const StationSummary& station : _stations) {
    for (const MeasurementSummary* each : station.failingFirst()) all.emplace_back(&station, each);
  }
  if (_groupBy) {
    std::ranges::stable_sort(all, {}, [](const auto& each) {
      return std::tuple(each.first->name(), each.second->phase, each.second->name);
    });
  }
  return all;
}

void Summary::finish() {
  std::ranges::sort(_records, {}, [](const Record& record) {
    return std::tuple(record.station, record.unit, record.time, record.order);
  });
  std::unordered_multimap<uint64_t, FailedRun*> failedOf;
  for (auto& [time, failed] : _failedRuns.things) {
    failedOf.emplace(unitKey(failed.unit, failed.run), &failed);
  }
  for (auto begin = _records.begin(); begin != _records.end();) {
    const auto end = std::find_if(begin, _records.end(), [&](const Record& record) {
      return record.station != begin->station || record.unit != begin->unit;
    });
    addUnit(begin, end);
    const auto last =
        std::find_if(std::reverse_iterator(end), std::reverse_iterator(begin),
                     [](const Record& record) { return record.verdict != Verdict::kRefused; });
    const auto [first, after] = failedOf.equal_range(begin->unit);
    for (auto failed = first; failed != after; ++failed) {
      failed->second->hasPassedSince |=
          failed->second->station == begin->station && last->verdict == Verdict::kPassed;
    }
    begin = end;
  }
  for (StationSummary& station : _stations) {
    station._duration = durationOf(std::exchange(station._seconds, {}));
    for (PhaseSummary& phase : station._phases) {
      phase.duration = durationOf(std::exchange(phase.seconds, {}));
    }
  }
  if (!_groupBy) return;
  std::ranges::sort(_stations, {}, [&](const StationSummary& station) {
    return std::pair(station.name(), groupName(station.group()));
  });
}

}  // namespace corvane::tools
