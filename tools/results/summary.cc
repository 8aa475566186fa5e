#include "tools/results/summary.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <tuple>

#include "platform/time_text.h"

namespace corvane::tools {
namespace {

/// With more spans of time than this, they are joined to longer ones.
constexpr int64_t kMaxSpans = 100;

int64_t floorOf(int64_t number, int64_t divisor) {
  return number / divisor - (number % divisor < 0);
}

/// Returns a hash of the unit's identity. One that is not identified is another in each run.
uint64_t unitKey(const RunHead& run) {
  const std::hash<std::string> hash;
  return run.unit.empty() ? ~hash(run.id) : hash(run.unit);
}

/// Returns the smallest of the values that this share of them, in percent, does not exceed.
double percentile(std::deque<float>& values, size_t percent) {
  const size_t rank = (values.size() * percent + 99) / 100;
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
  std::ranges::nth_element(values, place);
  // To the millisecond, as results have them.
  return std::round(double{*place} * 1000) / 1000;
}

void compute(Duration& duration) {
  if (duration.all.empty()) return;
  duration.count = duration.all.size();
  duration.median = percentile(duration.all, 50);
  duration.percentile95 = percentile(duration.all, 95);
  duration.all.clear();
}

void addPhases(StationSummary& station, const Run& run) {
  for (const PhaseResult& phase : run.phases) {
    PhaseSummary& summary = station.phases[phase.name];
    summary.all.add(station.runs);
    if (phase.verdict == Verdict::kUnfinished) continue;
    summary.seconds.all.push_back(static_cast<float>(phase.seconds));
    if (phase.verdict == Verdict::kFailed) summary.failed.add(station.runs);
  }
  for (const auto& [phase, attempt] : run.repeatedAttempts)
    ++station.phases[phase].repeatedAttempts;
}

MeasurementSummary& summaryOf(StationSummary& station, const MeasurementHead& measurement) {
  auto& known = station.measurements;
  MeasurementHead head = measurement;
  if (!known.contains(head)) {
    head.lower = head.upper = {};
    const auto first = known.lower_bound(head);
    head.hasVariousLimits = true;
    if (std::distance(first, known.lower_bound(head)) < Summary::kMaxLimits) head = measurement;
  }
  MeasurementSummary& summary = known[head];
  static_cast<MeasurementHead&>(summary) = head;
  return summary;
}

FailedRun failedRunOf(const Run& run, uint32_t group) {
  FailedRun failed;
  static_cast<RunHead&>(failed) = run;
  failed.group = group;
  const auto phase = std::ranges::find(run.phases, Verdict::kFailed, &PhaseResult::verdict);
  failed.hasFailedPhase = phase != run.phases.end();
  if (failed.hasFailedPhase && !phase->reason.empty()) failed.reason = phase->reason;
  if (!run.phases.empty()) failed.phase = (failed.hasFailedPhase ? *phase : run.phases.back()).name;
  const auto outside = std::ranges::find_if(run.measurements, [&](const Measurement& measurement) {
    return !measurement.isInside && !measurement.isRepeated &&
           (!failed.hasFailedPhase || measurement.phase == phase->name);
  });
  if (outside != run.measurements.end()) failed.measurement = *outside;
  return failed;
}

}  // namespace

std::string wallTimeText(int64_t hour) {
  return utcTimeText(hour * 3600).value_or("").substr(0, 16);
}

std::vector<Failure> StationSummary::failures() const {
  std::vector<Failure> failures;
  for (const auto& [name, phase] : phases) {
    if (phase.failed.runs > 0) failures.push_back({name, {}, phase.failed.runs, yield.runs});
  }
  const std::vector<const MeasurementSummary*> sorted = failingFirst();
  for (const auto& [place, failed] : outside) {
    const auto same = std::ranges::find_if(sorted, [wanted = place](const auto* each) {
      return std::pair(each->phase, each->name) == wanted;
    });
    failures.push_back({place.first, place.second, failed.runs, yield.runs, *same});
  }
  std::ranges::stable_sort(failures, {}, [](const Failure& failure) {
    return std::pair(failure.measurement.has_value(), UINT64_MAX - failure.runs);
  });
  return failures;
}

std::vector<const MeasurementSummary*> StationSummary::failingFirst() const {
  std::vector<const MeasurementSummary*> sorted;
  for (const auto& [head, measurement] : measurements) sorted.push_back(&measurement);
  std::ranges::stable_sort(sorted, std::greater<>(), &MeasurementSummary::outside);
  return sorted;
}

/// Returns local time: hours since 1970-01-01 00:00 as the clock on the wall counts them.
int64_t Summary::hourAt(int64_t milliseconds) {
  const int64_t quarter = floorOf(milliseconds, 900'000);
  if (std::exchange(_quarter, quarter) != quarter) {
    const auto time = static_cast<time_t>(quarter * 900);
    struct tm fields {};
    _offset = ::localtime_r(&time, &fields) ? fields.tm_gmtoff : 0;
  }
  return floorOf(quarter * 900 + _offset, 3600);
}

uint32_t Summary::stationOf(const Run& run) {
  uint32_t group = 0;
  if (groupBy) {
    std::string text = *groupBy < run.fields.size() ? _names.text(run.fields[*groupBy])
                                                    : wallTimeText(hourAt(run.time)).substr(0, 10);
    if (text.empty()) text = "(unknown)";
    group = groups.idOf(text);
    if (group > kMaxGroups) group = groups.idOf("other");
  }
  const uint64_t key = uint64_t{run.station} << 32 | group;
  const auto [entry, isNew] = _stationAt.try_emplace(key, stations.size());
  if (isNew) {
    StationSummary& station = stations.emplace_back();
    station.name = run.station;
    station.group = group;
  }
  return entry->second;
}

/// Joins spans of time while there are too many: hours to days, days to weeks, and so on.
void Summary::widenSpans(int64_t hour) {
  _firstHour = std::min(_firstHour, hour);
  _lastHour = std::max(_lastHour, hour);
  while (floorOf(_lastHour, spanHours) - floorOf(_firstHour, spanHours) >= kMaxSpans) {
    const int64_t factor = spanHours == 1 ? 24 : 7;
    spanHours *= factor;
    for (StationSummary& station : stations) {
      for (auto& [head, measurement] : station.measurements) {
        for (const auto& [span, time] : std::exchange(measurement.times, {})) {
          MeasurementSummary::Time& joined = measurement.times[floorOf(span, factor)];
          joined.values.add(time.values);
          joined.outside += time.outside;
        }
      }
    }
  }
}

void Summary::add(const Run& run, bool isTaken) {
  const uint32_t at = isTaken ? stationOf(run) : kNotTaken;
  const bool isRefused = run.verdict == Verdict::kRefused,
             isPassed = run.verdict == Verdict::kPassed;
  if (!isRefused) {
    const auto order = static_cast<uint32_t>(_records.size());
    _records.push_back({unitKey(run), run.time, run.station, order, at, isPassed});
  }
  if (!isTaken) return;
  ++runs;
  firstTime = std::min(firstTime, run.time);
  lastTime = std::max(lastTime, run.time);
  const int64_t hour = hourAt(run.time);
  widenSpans(hour);
  StationSummary& station = stations[at];
  ++station.runs;
  ++station.verdicts[static_cast<size_t>(run.verdict)];
  if (!isRefused) station.hours.insert(hour);
  if (!isRefused && run.verdict != Verdict::kUnfinished) {
    station.seconds.all.push_back(static_cast<float>(run.seconds));
  }
  addPhases(station, run);
  for (const Measurement& measurement : run.measurements) {
    if (measurement.isRepeated) continue;
    const auto span = groupBy ? std::nullopt : std::optional(floorOf(hour, spanHours));
    summaryOf(station, measurement).add(measurement, span);
    if (measurement.isInside) continue;
    station.outside[{measurement.phase, measurement.name}].add(station.runs);
  }
  if (!isPassed && !isRefused) failedRuns.add(failedRunOf(run, station.group));
  if (_withHistory) history.add(run);
}

/// Counts the records, which are in the order of station, unit and time.
void Summary::addYields() {
  uint64_t unit = 0;
  for (const Record* before = nullptr; const Record& run : _records) {
    const bool isFirst = !before || before->station != run.station || before->unit != run.unit;
    before = &run;
    unit += isFirst;
    if (run.summary == kNotTaken) continue;
    StationSummary& station = stations[run.summary];
    for (Yield* yield : {&station.yield, &station.times[floorOf(hourAt(run.time), spanHours)]}) {
      ++yield->runs;
      yield->passed += run.isPassed;
      yield->firstUnits += isFirst;
      yield->firstPassed += isFirst && run.isPassed;
    }
    const bool isSameUnit = std::exchange(station.lastUnit, unit) == unit;
    station.yield.units += !isSameUnit;
    station.yield.lastPassed += run.isPassed;
    station.yield.lastPassed -= isSameUnit && station.hasPassed;
    station.hasPassed = run.isPassed;
  }
}

/// Sets `hasPassedSince` of the failed runs.
void Summary::addPassesSince() {
  for (auto& [time, failed] : failedRuns.things) {
    const auto after = std::ranges::upper_bound(
        _records, std::pair(failed.station, unitKey(failed)), {},
        [](const Record& record) { return std::pair(record.station, record.unit); });
    failed.hasPassedSince = std::prev(after)->isPassed;
  }
}

void Summary::finish() {
  std::ranges::sort(_records, {}, [](const Record& record) {
    return std::tuple(record.station, record.unit, record.time, record.order);
  });
  addYields();
  addPassesSince();
  for (StationSummary& station : stations) {
    compute(station.seconds);
    for (auto& [name, phase] : station.phases) compute(phase.seconds);
  }
  if (!groupBy) return;
  std::ranges::sort(stations, {}, [&](const StationSummary& station) {
    return std::pair(station.name, groups.text(station.group));
  });
}

}  // namespace corvane::tools
