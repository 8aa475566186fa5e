#include "tools/results/summary.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace corvane::tools {

uint64_t StationSummary::runs() const {
  return std::accumulate(_runs.begin(), _runs.end(), uint64_t{0});
}

void StationSummary::add(const Run& run) {
  ++_runs[static_cast<size_t>(run.verdict)];
  if (run.verdict != RunVerdict::kRefused) addUnit(run);
  for (size_t i = 0; i < run.phases.size(); ++i) {
    const PhaseResult& phase = run.phases[i];
    if (phase.verdict != RunVerdict::kFailed) continue;
    // A phase that a run has twice counts once.
    const auto isSame = [&](const PhaseResult& other) {
      return other.name == phase.name && other.verdict == RunVerdict::kFailed;
    };
    const auto before = run.phases.begin() + static_cast<ptrdiff_t>(i);
    if (std::none_of(run.phases.begin(), before, isSame)) ++_failedPhases[phase.name];
  }
  _outsideNow.clear();
  for (const Measurement& measurement : run.measurements) addMeasurement(measurement);
}

void StationSummary::addUnit(const Run& run) {
  const bool isPassed = run.verdict == RunVerdict::kPassed;
  if (run.unit.empty()) {
    ++_unidentified.units;
    _unidentified.firstPassed += isPassed;
    _unidentified.lastPassed += isPassed;
    return;
  }
  const auto [entry, isNew] = _units.try_emplace(
      std::hash<std::string>()(run.unit), UnitRecord{run.time, run.time, isPassed, isPassed});
  UnitRecord& unit = entry->second;
  if (run.time < unit.firstTime) {
    unit.firstTime = run.time;
    unit.hasFirstPassed = isPassed;
  }
  if (run.time >= unit.lastTime) {
    unit.lastTime = run.time;
    unit.hasLastPassed = isPassed;
  }
}

void StationSummary::addMeasurement(const Measurement& measurement) {
  const uint64_t key = uint64_t{measurement.phase} << 32 | measurement.name;
  const auto [entry, isNew] = _measurementAt.try_emplace(key, _measurements.size());
  if (isNew) {
    MeasurementSummary& summary = _measurements.emplace_back();
    summary.phase = measurement.phase;
    summary.name = measurement.name;
    summary.unitOfMeasure = measurement.unitOfMeasure;
    _runsOutside.push_back(0);
  }
  const size_t at = entry->second;
  MeasurementSummary& summary = _measurements[at];
  summary.lower = measurement.lower;
  summary.upper = measurement.upper;
  if (measurement.value) {
    summary.statistics.add(*measurement.value);
  } else {
    ++summary.notNumbers;
  }
  if (measurement.isInside) return;
  ++summary.outside;
  if (std::ranges::find(_outsideNow, at) != _outsideNow.end()) return;
  _outsideNow.push_back(at);
  ++_runsOutside[at];
}

Yield StationSummary::yield() const {
  Yield yield = _unidentified;
  yield.units += _units.size();
  for (const auto& [key, unit] : _units) {
    yield.firstPassed += unit.hasFirstPassed;
    yield.lastPassed += unit.hasLastPassed;
  }
  return yield;
}

std::vector<Failure> StationSummary::failures() const {
  std::vector<Failure> failures;
  for (const auto& [phase, runs] : _failedPhases) failures.push_back({phase, {}, runs});
  const auto phases = static_cast<ptrdiff_t>(failures.size());
  for (size_t i = 0; i < _measurements.size(); ++i) {
    if (_runsOutside[i] == 0) continue;
    failures.push_back({_measurements[i].phase, _measurements[i].name, _runsOutside[i]});
  }
  std::stable_sort(failures.begin(), failures.begin() + phases,
                   [](const Failure& a, const Failure& b) { return a.runs > b.runs; });
  std::stable_sort(failures.begin() + phases, failures.end(),
                   [](const Failure& a, const Failure& b) { return a.runs > b.runs; });
  return failures;
}

void Summary::add(const Run& run) {
  const auto [entry, isNew] = _stationAt.try_emplace(run.station, _stations.size());
  if (isNew) _stations.emplace_back(run.station);
  _stations[entry->second].add(run);
}

}  // namespace corvane::tools
