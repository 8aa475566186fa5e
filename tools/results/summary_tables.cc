#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <tuple>

#include "platform/time_text.h"
#include "tools/results/results_output.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;
using enum Style;
using enum TableKind;

/// Units that a row of what fails leads to.
constexpr size_t kMaxUnits = 5;

struct TableAbout {
  const char* title;
  size_t maxRows = SIZE_MAX;  ///< Among other tables.
};
constexpr std::array<TableAbout, kTableNames.size()> kAbout = {
    {{"Yields"},
     {"Runs on the unit, the newest first"},
     {"What fails"},
     {"Runs that did not pass, the newest first", 20},
     {"Measurements and checks, those that fail first"},
     {"Phases"},
     {"Yields over time, the newest first", 24},
     {"Measurements that fail, over time", 24}}};

Value share(uint64_t part, uint64_t whole) {
  if (whole == 0) return {};
  const double share = static_cast<double>(part) / static_cast<double>(whole);
  char text[32];
  std::snprintf(text, sizeof text, "%.2f %%", 100 * share);
  return {share, text};
}

Value rounded(std::optional<double> number) {
  return number ? Value(*number, roundedText(number)) : Value();
}

Value mean(const Moments& values) {
  return values.count() == 0 ? Value() : Value(values.mean(), meanText(values));
}

Value time(const RunHead& run) {
  return {run.timeText, localTimeText(run.time / 1000).value_or(run.timeText)};
}

Cells secondsOf(const Duration& duration) {
  // To the millisecond, as results have them.
  const auto seconds = [&](float taken) {
    if (duration.count == 0) return Value();
    const double milliseconds = std::round(double{taken} * 1000) / 1000;
    return Value(milliseconds, roundedText(milliseconds) + " s");
  };
  return {{"seconds/count", duration.count == 0 ? Value() : Value(duration.count)},
          {"seconds/median", "Median", kNumber, seconds(duration.median)},
          {"seconds/percentile95", "95 %", kNumber, seconds(duration.percentile95)}};
}

/// What is told of stations and of what they have, as cells, rows and JSON.
class Tables {
 public:
  explicit Tables(const Results& results)
      : _summary(results.summary), _names(results.names), _source(results.source) {}

  SummaryTable table(TableKind kind) const {
    const auto [title, maxRows] = kAbout[static_cast<size_t>(kind)];
    SummaryTable table{kTableNames[static_cast<size_t>(kind)], title, maxRows};
    if (kind == kFailedRuns) addFailedRuns(table);
    if (kind == kHistory) addHistory(table);
    for (const StationSummary& station : _summary.stations) addRows(table, kind, station);
    if (kind == kTimes) {
      const size_t from = _summary.groupBy ? 2 : 1;
      std::ranges::stable_sort(table.rows, std::greater<>(),
                               [&](const TableRow& row) { return row.cells[from].text(); });
    } else if (kind == kMeasurements && _summary.groupBy) {
      // The groups of a measurement follow each other.
      std::ranges::stable_sort(table.rows, {}, [](const TableRow& row) {
        return std::tuple(row.station, row.measurement->phase, row.measurement->name);
      });
    }
    return table;
  }

  ordered_json json(const StationSummary& station) const {
    ordered_json json = objectOf(placeOf(station));
    json.update(objectOf(cellsOf(station)));
    if (_source.hasYields) json["times"] = list(station.times);
    json["failures"] = list(station.failures());
    json["phases"] = list(station.phases);
    ordered_json& measurements = json["measurements"] = ordered_json::array();
    for (const MeasurementSummary* each : station.failingFirst()) {
      measurements.push_back(objectOf(cellsOf(*each)));
      if (each->outside > 0) measurements.back()["times"] = list(each->times);
    }
    return json;
  }

  ordered_json list(const auto& things) const {
    ordered_json list = ordered_json::array();
    for (const auto& thing : things) list.push_back(objectOf(cellsOf(thing)));
    return list;
  }

  ordered_json historyAsJson() const {
    ordered_json runs = ordered_json::array();
    const auto& things = _summary.history.things;
    for (auto thing = things.rbegin(); thing != things.rend(); ++thing) {
      const Run& run = thing->second;
      Cells cells = headOf(run, _names);
      append(cells, restOf(run, _names));
      ordered_json& json = runs.emplace_back(objectOf(cells));
      json["phases"] = list(run.phases);
      json["measurements"] = list(run.measurements);
    }
    return runs;
  }

 private:
  using YieldSpan = std::pair<const int64_t, Yield>;
  using MeasurementSpan = std::pair<const int64_t, MeasurementSummary::Time>;

  void addRows(SummaryTable& table, TableKind kind, const StationSummary& station) const {
    const auto add = [&](Cells cells) -> TableRow& {
      TableRow& row = table.rows.emplace_back();
      row.station = station.name;
      row.cells = placeOf(station);
      append(row.cells, std::move(cells));
      return row;
    };
    if (kind == kYields) add(cellsOf(station));
    if (kind == kPhases) {
      for (const PhaseSummary& phase : station.phases) add(cellsOf(phase));
    } else if (kind == kTimes && _source.hasYields) {
      for (const YieldSpan& span : station.times) add(cellsOf(span));
    } else if (kind == kFailures) {
      for (const Failure& failure : station.failures()) {
        TableRow& row = add(cellsOf(failure));
        row.measurement = failure.summary;
        row.failed = newestOf(failure, station);
      }
    } else if (kind == kMeasurements || kind == kTrends) {
      for (const MeasurementSummary* each : station.failingFirst()) {
        if (kind == kMeasurements) add(cellsOf(*each)).measurement = each;
        if (kind == kMeasurements || each->outside == 0) continue;
        for (auto span = each->times.rbegin(); span != each->times.rend(); ++span) {
          Cells cells = placeOf(*each);
          append(cells, cellsOf(*span));
          add(std::move(cells));
        }
      }
    }
  }

  std::vector<const FailedRun*> newestOf(const Failure& failure,
                                         const StationSummary& station) const {
    std::vector<const FailedRun*> newest;
    for (const auto& [time, run] : _summary.failedRuns.things) {
      const bool isSame = run.station == station.name && run.group == station.group &&
                          run.phase == failure.phase &&
                          (!failure.measurement ||
                           (run.measurement && run.measurement->name == *failure.measurement));
      if (isSame && newest.size() < kMaxUnits) newest.push_back(&run);
    }
    return newest;
  }

  void addFailedRuns(SummaryTable& table) const {
    for (const auto& run : _summary.failedRuns.things) {
      table.rows.push_back({cellsOf(run), run.second.id});
    }
    table.left = _summary.failedRuns.count - table.rows.size();
  }

  void addHistory(SummaryTable& table) const {
    for (const auto& [begun, each] : _summary.history.things) {
      const auto add = [&, &run = each](uint32_t phase, uint32_t name, const std::string& value,
                                        std::string_view result, const std::string& reason) {
        table.rows.push_back({{{"time", "Time", kPlace, time(run)},
                               {"unit", "Unit", kText, run.unit},
                               {"station", "Station", kText, _names.text(run.station)},
                               {"run", "Run", kLine, run.id},
                               {"phase", "Phase", kText, _names.text(phase)},
                               {"measurement", "Measurement", kText, _names.text(name)},
                               {"value", "Value", kValue, value},
                               {"result", "Result", kLine, result},
                               {"reason", "Reason", kText, reason}}});
      };
      add(0, 0, roundedText(each.seconds) + " s", nameOf(each.verdict), each.reason);
      for (const PhaseResult& phase : each.phases) {
        add(phase.name, 0, roundedText(phase.seconds) + " s", nameOf(phase.verdict), phase.reason);
      }
      for (const Measurement& measured : each.measurements) {
        const char* const place = measured.isInside ? "inside" : "outside";
        add(measured.phase, measured.name, valueText(measured, _names),
            measured.isRepeated ? "repeated" : place, "");
      }
    }
    table.left = _summary.history.count - _summary.history.things.size();
  }

  Cells placeOf(const StationSummary& station) const {
    Cells cells = {{"station", "Station", kPlace, _names.text(station.name)}};
    if (_summary.groupBy) {
      const std::string name(kGroupFields[*_summary.groupBy]);
      cells.emplace_back(name, static_cast<char>(name[0] - 'a' + 'A') + name.substr(1), kPlace,
                         _summary.groups.text(station.group));
    }
    return cells;
  }

  Cells placeOf(const MeasurementSummary& measurement) const {
    const std::string& name = _names.text(measurement.name);
    const std::string& unit = _names.text(measurement.unitOfMeasure);
    return {{"phase", "Phase", kPlace, _names.text(measurement.phase)},
            {"name", "Measurement", kPlace, Value(name, unit.empty() ? name : name + ", " + unit)}};
  }

  Cells cellsOf(const StationSummary& station) const {
    const Yield& yield = station.yield;
    Cells cells = {
        {"firstPassYield", "First pass", kNumber, share(yield.firstPassed, yield.firstUnits)},
        {"finalYield", "Final", kNumber, share(yield.lastPassed, yield.units)},
        {"units", "Units", kNumber, yield.units},
        {"firstUnits", yield.firstUnits}};
    if (!_source.hasYields) cells = blank(std::move(cells));
    cells.emplace_back("runs", "Runs", kNumber, station.runs);
    const auto runsOf = [&](Verdict verdict) {
      return station.verdicts[static_cast<size_t>(verdict)];
    };
    for (size_t i = 0; i < kVerdicts; ++i) {
      cells.emplace_back("verdicts/" + std::string(nameOf(static_cast<Verdict>(i))),
                         station.verdicts[i]);
    }
    const uint64_t unfinished = runsOf(Verdict::kIncomplete) + runsOf(Verdict::kUnfinished);
    append(cells, {{"", "Failed", kNumber, runsOf(Verdict::kFailed)},
                   {"", "Unfinished", kNumber, unfinished},
                   {"", "Refused", kNumber, runsOf(Verdict::kRefused)},
                   {"", "Untrusted", kNumber, runsOf(Verdict::kUntrusted)}});
    const auto hours = static_cast<double>(station.hours.size());
    const double perHour = hours > 0 ? static_cast<double>(yield.runs) / hours : 0;
    cells.emplace_back("runsPerHour", "Runs/h", kNumber, rounded(perHour));
    append(cells, secondsOf(station.seconds));
    return cells;
  }

  Cells cellsOf(const Failure& failure) const {
    return {{"phase", "Phase", kPlace, _names.text(failure.phase)},
            {"measurement", "Measurement", kPlace, _names.text(failure.measurement.value_or(0))},
            {"runs", "Runs", kNumber, failure.runs},
            {"", "Of runs", kNumber, share(failure.runs, failure.ofRuns)}};
  }

  Cells cellsOf(const std::pair<const int64_t, FailedRun>& failed) const {
    const FailedRun& run = failed.second;
    const Measurement* const measured = run.measurement ? &*run.measurement : nullptr;
    const std::string verdict(nameOf(run.verdict));
    const Value unit = run.unit.empty() ? Value(nullptr, "(unidentified)") : Value(run.unit);
    const Value shown(verdict, run.hasPassedSince ? verdict + ", then passed" : "");
    Cells cells = {{"unit", "Unit", kPlace, unit},
                   {"time", "Time", kLine, time(run)},
                   {"station", "Station", kText, _names.text(run.station)},
                   {"phase", "Phase", kText, _names.text(run.phase)},
                   {"", "Measurement", kText, measured ? _names.text(measured->name) : ""},
                   {"", "Value", kValue, measured ? valueText(*measured, _names) : ""},
                   {"reason", "Reason", kText, run.reason},
                   {"run", "Run", kLine, run.id},
                   {"verdict", "Verdict", kText, shown},
                   {"passedSince", run.hasPassedSince}};
    append(cells, measured ? cellsOf(*measured) : blank(cellsOf(Measurement())), "measurement/");
    return cells;
  }

  Cells cellsOf(const MeasurementSummary& measurement) const {
    const Moments& values = measurement.values;
    const std::optional<double> deviation = values.deviation();
    const auto extreme = [&](double value) {
      return values.count() == 0 ? Value() : Value(value, roundedTo(value, deviation.value_or(0)));
    };
    const auto [cp, cpk] = measurement.capability(measurement.neighboursDeviation());
    const auto [pp, ppk] = measurement.capability(deviation);
    Cells cells = placeOf(measurement);
    append(cells, {{"isCheck", measurement.isCheck},
                   {"unitOfMeasure", _names.text(measurement.unitOfMeasure)},
                   {"count", "Count", kNumber, measurement.count},
                   {"notNumbers", measurement.notNumbers},
                   {"mean", "Mean", kNumber, mean(values)},
                   {"deviation", "Deviation", kNumber, rounded(deviation)},
                   {"minimum", "Minimum", kNumber, extreme(measurement.minimum)},
                   {"maximum", "Maximum", kNumber, extreme(measurement.maximum)},
                   {"lower", measurement.lower},
                   {"upper", measurement.upper},
                   {"", "Limits", kText, limitsText(measurement)},
                   {"variousLimits", measurement.hasVariousLimits},
                   {"outside", "Outside", kNumber, measurement.outside},
                   {"cp", "Cp", kNumber, rounded(cp)},
                   {"cpk", "Cpk", kNumber, rounded(cpk)},
                   {"pp", "Pp", kNumber, rounded(pp)},
                   {"ppk", "Ppk", kNumber, rounded(ppk)},
                   {"", "Values", kNumber, values.count()}});
    return cells;
  }

  Cells cellsOf(const PhaseSummary& phase) const {
    Cells cells = {{"phase", "Phase", kPlace, _names.text(phase.name)},
                   {"runs", "Runs", kNumber, phase.all.runs},
                   {"failed", "Failed", kNumber, phase.failed.runs},
                   {"repeatedAttempts", "Repeated", kNumber, phase.repeatedAttempts}};
    append(cells, secondsOf(phase.seconds));
    return cells;
  }

  Cells cellsOf(const YieldSpan& span) const {
    const Yield& yield = span.second;
    return {{"from", "From", kLine, wallTimeText(span.first * _summary.spanHours)},
            {"runs", "Runs", kNumber, yield.runs},
            {"passed", yield.passed},
            {"", "Passed", kNumber, share(yield.passed, yield.runs)},
            {"firstUnits", yield.firstUnits},
            {"firstPassed", yield.firstPassed},
            {"", "First pass", kNumber, share(yield.firstPassed, yield.firstUnits)}};
  }

  Cells cellsOf(const MeasurementSpan& span) const {
    const auto& [values, outside] = span.second;
    return {{"from", "From", kLine, wallTimeText(span.first * _summary.spanHours)},
            {"count", "Values", kNumber, values.count()},
            {"mean", "Mean", kNumber, mean(values)},
            {"deviation", "Deviation", kNumber, rounded(values.deviation())},
            {"outside", "Outside", kNumber, outside}};
  }

  Cells cellsOf(const PhaseResult& phase) const { return tools::cellsOf(phase, _names); }
  Cells cellsOf(const Measurement& measured) const { return tools::cellsOf(measured, _names); }

  const Summary& _summary;
  const Names& _names;
  const ResultsSource& _source;
};

}  // namespace

SummaryTable tableOf(TableKind kind, const Results& results) { return Tables(results).table(kind); }

ordered_json summaryAsJson(const Results& results) {
  const Tables tables(results);
  const Summary& summary = results.summary;
  ordered_json json = {{"stations", ordered_json::array()}};
  for (const StationSummary& station : summary.stations) {
    json["stations"].push_back(tables.json(station));
  }
  json["failedRuns"] = tables.list(summary.failedRuns.things);
  json["failedRunCount"] = summary.failedRuns.count;
  if (summary.history.count > 0) json["history"] = tables.historyAsJson();
  json["files"] = results.source.files;
  json["damagedLines"] = results.source.damagedLines;
  json["repeatedLines"] = results.source.repeatedLines;
  json["unreadableFiles"] = results.source.unreadableFiles;
  return json;
}

}  // namespace corvane::tools
