#include <algorithm>
#include <cmath>
#include <functional>
#include <tuple>

#include "platform/time_text.h"
#include "tools/results/results_output.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;
using enum Style;
using enum TableKind;

/// In a row of what fails.
constexpr size_t kMaxUnits = 5;

Value share(uint64_t part, uint64_t whole) {
  if (whole == 0) return {};
  const double share = static_cast<double>(part) / static_cast<double>(whole);
  return {share, formatted("%.2f %%", 100 * share)};
}

Value rounded(std::optional<double> number) {
  return number ? Value(*number, roundedText(number)) : Value();
}

Value rounded(std::optional<double> number, const Moments& values) {
  return number ? Value(*number, roundedText(number, values.deviation())) : Value();
}

Value time(const RunHead& run) {
  return {run.timeText, localTimeText(run.time / 1000).value_or(run.timeText)};
}

std::string unitText(const RunHead& run) { return run.unit.empty() ? "(unidentified)" : run.unit; }

Value seconds(std::optional<double> taken) {
  return taken ? Value(*taken, roundedText(taken) + " s") : Value();
}

Cells secondsOf(const Duration& duration) {
  return {{"seconds/count", duration.count},
          {"seconds/median", seconds(duration.median), "Median", kNumber},
          {"seconds/percentile95", seconds(duration.percentile95), "95 %", kNumber}};
}

/// Stations and their phases, measurements and runs as cells, rows and JSON.
class Tables : Results {
 public:
  explicit Tables(const Results& results) : Results(results) {}

  SummaryTable table(TableKind kind) const {
    SummaryTable table{kTables[static_cast<size_t>(kind)]};
    if (kind == kFailedRuns) addFailedRuns(table);
    if (kind == kHistory) addHistory(table);
    for (const StationSummary& station : summary.stations) addRows(table, kind, station);
    if (kind == kTimes) {
      std::ranges::stable_sort(table.rows, std::greater<>(), &TableRow::span);
    } else if (kind == kMeasurements && summary.groupBy) {
      // The groups of a measurement follow each other.
      std::ranges::stable_sort(table.rows, {}, [](const TableRow& row) {
        return std::tuple(row.station, row.measurement->phase, row.measurement->name);
      });
    }
    return table;
  }

  ordered_json json(const StationSummary& station) const {
    ordered_json json = objectOf(joined(placeOf(station), cellsOf(station)));
    if (source.hasYields) json["times"] = list(station.times);
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
    const auto& things = summary.history.things;
    for (auto thing = things.rbegin(); thing != things.rend(); ++thing) {
      const Run& run = thing->second;
      ordered_json& json =
          runs.emplace_back(objectOf(joined(headOf(run, names), restOf(run, names))));
      json["phases"] = list(run.phases);
      json["measurements"] = list(run.measurements);
    }
    return runs;
  }

 private:
  using PhaseEntry = std::pair<const uint32_t, PhaseSummary>;
  using YieldSpan = std::pair<const int64_t, Yield>;
  using MeasurementSpan = std::pair<const int64_t, MeasurementSummary::Time>;

  void addRows(SummaryTable& table, TableKind kind, const StationSummary& station) const {
    const auto add = [&](Cells cells) -> TableRow& {
      TableRow& row = table.rows.emplace_back();
      row.station = station.name;
      row.cells = joined(placeOf(station), std::move(cells));
      return row;
    };
    if (kind == kYields) add(cellsOf(station));
    if (kind == kPhases) {
      for (const PhaseEntry& phase : station.phases) add(cellsOf(phase));
    } else if (kind == kTimes && source.hasYields) {
      for (const YieldSpan& span : station.times) add(cellsOf(span)).span = span.first;
    } else if (kind == kFailures) {
      for (const Failure& failure : station.failures()) {
        TableRow& row = add(cellsOf(failure));
        row.measurement = failure.summary;
        row.cells.push_back(newestUnits(failure, station));
      }
    } else if (kind == kMeasurements || kind == kTrends) {
      for (const MeasurementSummary* each : station.failingFirst()) {
        if (kind == kMeasurements) add(cellsOf(*each)).measurement = each;
        if (kind == kMeasurements || each->outside == 0) continue;
        for (auto span = each->times.rbegin(); span != each->times.rend(); ++span) {
          add(joined(placeOf(*each), cellsOf(*span)));
        }
      }
    }
  }

  Cell newestUnits(const Failure& failure, const StationSummary& station) const {
    Cell cell{"", {}, "Newest units", kLine};
    for (const auto& [time, run] : summary.failedRuns.things) {
      if (run.station != station.name || run.group != station.group) continue;
      const auto& outside = run.measurement;
      const bool isSame = failure.measurement ? outside && outside->phase == failure.phase &&
                                                    outside->name == *failure.measurement
                                              : run.hasFailedPhase && run.phase == failure.phase;
      if (isSame && cell.runs.size() < kMaxUnits) cell.runs.emplace_back(run.id, unitText(run));
    }
    return cell;
  }

  void addFailedRuns(SummaryTable& table) const {
    for (const auto& run : summary.failedRuns.things) {
      table.rows.push_back({cellsOf(run), run.second.id});
    }
    table.left = summary.failedRuns.count - table.rows.size();
  }

  void addHistory(SummaryTable& table) const {
    for (const auto& [begun, each] : summary.history.things) {
      const auto add = [&, &run = each](uint32_t phase, uint32_t name, const Value& value,
                                        std::string_view result, const std::string& reason) {
        table.rows.push_back({{{"time", time(run), "Time", kPlace},
                               {"unit", run.unit, "Unit", kText},
                               {"station", names.text(run.station), "Station", kText},
                               {"run", run.id, "Run", kLine},
                               {"phase", names.text(phase), "Phase", kText},
                               {"measurement", names.text(name), "Measurement", kText},
                               {"value", value, "Value", kValue},
                               {"result", result, "Result", kLine},
                               {"reason", reason, "Reason", kText}}});
      };
      add(0, 0, seconds(each.seconds), nameOf(each.verdict), each.reason);
      for (const PhaseResult& phase : each.phases) {
        add(phase.name, 0, seconds(phase.seconds), nameOf(phase.verdict), phase.reason);
      }
      for (const Measurement& measured : each.measurements) {
        const char* const place = measured.isInside ? "inside" : "outside";
        add(measured.phase, measured.name, valueText(measured, names),
            measured.isRepeated ? "repeated" : place, "");
      }
    }
    table.left = summary.history.count - summary.history.things.size();
  }

  Cells placeOf(const StationSummary& station) const {
    Cells cells = {{"station", names.text(station.name), "Station", kPlace}};
    if (summary.groupBy) {
      const std::string field(kGroupFields[*summary.groupBy]);
      cells.push_back({field, summary.groups.text(station.group), field, kPlace});
    }
    return cells;
  }

  Cells placeOf(const MeasurementSummary& measurement) const {
    const std::string& name = names.text(measurement.name);
    const std::string& unit = names.text(measurement.unitOfMeasure);
    return {{"phase", names.text(measurement.phase), "Phase", kPlace},
            {"name", Value(name, unit.empty() ? name : name + ", " + unit), "Measurement", kPlace}};
  }

  Cells cellsOf(const StationSummary& station) const {
    const Yield& yield = station.yield;
    Cells cells = {
        {"firstPassYield", share(yield.firstPassed, yield.firstUnits), "First pass", kNumber},
        {"finalYield", share(yield.lastPassed, yield.units), "Final", kNumber},
        {"units", yield.units, "Units", kNumber},
        {"firstUnits", yield.firstUnits}};
    if (!source.hasYields) cells = blank(std::move(cells));
    cells.push_back({"runs", station.runs, "Runs", kNumber});
    const auto runsOf = [&](Verdict verdict) {
      return station.verdicts[static_cast<size_t>(verdict)];
    };
    for (size_t i = 0; i < kVerdicts; ++i) {
      cells.push_back(
          {"verdicts/" + std::string(nameOf(static_cast<Verdict>(i))), station.verdicts[i]});
    }
    const uint64_t unfinished = runsOf(Verdict::kIncomplete) + runsOf(Verdict::kUnfinished);
    const auto hours = static_cast<double>(station.hours.size());
    const double perHour = hours > 0 ? static_cast<double>(yield.runs) / hours : 0;
    const Cells more = {{"", runsOf(Verdict::kFailed), "Failed", kNumber},
                        {"", unfinished, "Unfinished", kNumber},
                        {"", runsOf(Verdict::kRefused), "Refused", kNumber},
                        {"", runsOf(Verdict::kUntrusted), "Untrusted", kNumber},
                        {"runsPerHour", rounded(perHour), "Runs/h", kNumber}};
    return joined(joined(std::move(cells), more), secondsOf(station.seconds));
  }

  Cells cellsOf(const Failure& failure) const {
    return {{"phase", names.text(failure.phase), "Phase", kPlace},
            {"measurement", names.text(failure.measurement.value_or(0)), "Measurement", kPlace},
            {"runs", failure.runs, "Runs", kNumber},
            {"", share(failure.runs, failure.ofRuns), "Of runs", kNumber}};
  }

  Cells cellsOf(const std::pair<const int64_t, FailedRun>& failed) const {
    const FailedRun& run = failed.second;
    const Measurement* const measured = run.measurement ? &*run.measurement : nullptr;
    const std::string verdict(nameOf(run.verdict));
    const Value shown(verdict, run.hasPassedSince ? verdict + ", then passed" : "");
    const Cells cells = {{"unit", Value(orNull(run.unit), unitText(run)), "Unit", kPlace},
                         {"time", time(run), "Time", kLine},
                         {"station", names.text(run.station), "Station", kText},
                         {"phase", names.text(run.phase), "Phase", kText},
                         {"", measured ? names.text(measured->name) : "", "Measurement", kText},
                         {"", measured ? valueText(*measured, names) : "", "Value", kValue},
                         {"reason", run.reason, "Reason", kText},
                         {"run", run.id, "Run", kLine},
                         {"verdict", shown, "Verdict", kText},
                         {"passedSince", run.hasPassedSince}};
    return joined(cells, measured ? cellsOf(*measured) : blank(cellsOf(Measurement())),
                  "measurement/");
  }

  Cells cellsOf(const MeasurementSummary& measurement) const {
    const Moments& values = measurement.values;
    const std::optional<double> deviation = values.deviation();
    const auto [cp, cpk] = measurement.capability(measurement.neighboursDeviation());
    const auto [pp, ppk] = measurement.capability(deviation);
    return joined(placeOf(measurement),
                  {{"isCheck", measurement.isCheck},
                   {"unitOfMeasure", names.text(measurement.unitOfMeasure)},
                   {"count", measurement.count, "Count", kNumber},
                   {"notNumbers", measurement.notNumbers},
                   {"mean", rounded(values.mean(), values), "Mean", kNumber},
                   {"deviation", rounded(deviation), "Deviation", kNumber},
                   {"minimum", rounded(measurement.minimum, values), "Minimum", kNumber},
                   {"maximum", rounded(measurement.maximum, values), "Maximum", kNumber},
                   {"lower", measurement.lower},
                   {"upper", measurement.upper},
                   {"", limitsText(measurement), "Limits", kText},
                   {"variousLimits", measurement.hasVariousLimits},
                   {"outside", measurement.outside, "Outside", kNumber},
                   {"cp", rounded(cp), "Cp", kNumber},
                   {"cpk", rounded(cpk), "Cpk", kNumber},
                   {"pp", rounded(pp), "Pp", kNumber},
                   {"ppk", rounded(ppk), "Ppk", kNumber},
                   {"", values.count(), "Values", kNumber}});
  }

  Cells cellsOf(const PhaseEntry& entry) const {
    const PhaseSummary& phase = entry.second;
    return joined({{"phase", names.text(entry.first), "Phase", kPlace},
                   {"runs", phase.all.runs, "Runs", kNumber},
                   {"failed", phase.failed.runs, "Failed", kNumber},
                   {"repeatedAttempts", phase.repeatedAttempts, "Repeated", kNumber}},
                  secondsOf(phase.seconds));
  }

  Cells cellsOf(const YieldSpan& span) const {
    const Yield& yield = span.second;
    return {{"from", wallTimeText(span.first * summary.spanHours), "From", kLine},
            {"runs", yield.runs, "Runs", kNumber},
            {"passed", yield.passed},
            {"", share(yield.passed, yield.runs), "Passed", kNumber},
            {"firstUnits", yield.firstUnits},
            {"firstPassed", yield.firstPassed},
            {"", share(yield.firstPassed, yield.firstUnits), "First pass", kNumber}};
  }

  Cells cellsOf(const MeasurementSpan& span) const {
    const auto& [values, outside] = span.second;
    return {{"from", wallTimeText(span.first * summary.spanHours), "From", kLine},
            {"count", values.count(), "Values", kNumber},
            {"mean", rounded(values.mean(), values), "Mean", kNumber},
            {"deviation", rounded(values.deviation()), "Deviation", kNumber},
            {"outside", outside, "Outside", kNumber}};
  }

  Cells cellsOf(const PhaseResult& phase) const { return tools::cellsOf(phase, names); }
  Cells cellsOf(const Measurement& measured) const { return tools::cellsOf(measured, names); }
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
  json.update(objectOf(leftOut(results.source)));
  return json;
}

}  // namespace corvane::tools
