#include "tools/results/summary_tables.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/results/summary_text.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;
using YieldSpan = std::pair<const int64_t, YieldTime>;
using MeasurementSpan = std::pair<const int64_t, MeasurementTime>;

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
  return {static_cast<double>(part) / static_cast<double>(whole), percentText(part, whole)};
}

Value rounded(std::optional<double> number) {
  return number ? Value(*number, roundedText(number)) : Value();
}

Value mean(const Moments& moments) {
  return moments.count() == 0 ? Value() : Value(moments.mean(), meanText(moments));
}

/// Returns the seconds to the millisecond, as results have them.
Value seconds(const Duration& duration, float taken) {
  if (duration.count == 0) return {};
  const double milliseconds = std::round(double{taken} * 1000) / 1000;
  return {milliseconds, roundedText(milliseconds) + " s"};
}

Value time(const std::string& text, int64_t milliseconds) {
  return {text, localTimeText(milliseconds / 1000).value_or(text)};
}

char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string capitalized(std::string_view text) {
  std::string title(text);
  title[0] = upperCase(title[0]);
  return title;
}

/// What is told of stations and of what they have, as cells, rows and JSON.
class Tables {
 public:
  explicit Tables(const Results& results)
      : _summary(results.summary), _names(results.names), _source(results.source) {}

  SummaryTable table(TableKind kind) const {
    if (kind == TableKind::kFailures) return failures();
    if (kind == TableKind::kFailedRuns) return failedRuns();
    if (kind == TableKind::kHistory) return history();
    if (kind == TableKind::kTimes) return times();
    SummaryTable table;
    for (const StationSummary& station : _summary.stations()) {
      if (kind == TableKind::kYields) addRow(table, station, cellsOf(station));
      if (kind != TableKind::kPhases) continue;
      for (const PhaseSummary& phase : station.phases()) addRow(table, station, cellsOf(phase));
    }
    for (const auto& [station, each] : _summary.measurements()) {
      if (kind == TableKind::kMeasurements) {
        addRow(table, *station, cellsOf(*each)).measurement = each;
      } else if (kind == TableKind::kTrends && each->outside > 0) {
        addTrend(table, *station, *each);
      }
    }
    return table;
  }

  ordered_json json(const StationSummary& station) const {
    ordered_json json = objectOf(placeOf(station));
    json.update(objectOf(cellsOf(station)));
    if (_source.hasYields) json["times"] = list(station.times());
    json["failures"] = list(station.failures());
    json["phases"] = list(station.phases());
    ordered_json& measurements = json["measurements"] = ordered_json::array();
    for (const MeasurementSummary* each : station.failingFirst()) {
      measurements.push_back(objectOf(cellsOf(*each)));
      if (each->outside > 0) measurements.back()["times"] = list(each->times);
    }
    return json;
  }

  ordered_json failedRunsAsJson() const {
    ordered_json runs = ordered_json::array();
    for (const auto& row : failedRuns().rows) runs.push_back(objectOf(row.cells));
    return runs;
  }

  ordered_json historyAsJson() const {
    ordered_json runs = ordered_json::array();
    const auto& things = _summary.history().things;
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
  SummaryTable failures() const {
    SummaryTable table;
    for (const StationSummary& station : _summary.stations()) {
      for (const Failure& failure : station.failures()) {
        TableRow& row = addRow(table, station, cellsOf(failure));
        row.measurement = failure.summary;
        for (const auto& [time, run] : _summary.failedRuns().things) {
          const bool isSame = run.station == station.name() && run.group == station.group() &&
                              run.phase == failure.phase &&
                              (!failure.measurement ||
                               (run.measurement && run.measurement->name == *failure.measurement));
          if (isSame && row.failed.size() < kMaxUnits) row.failed.push_back(&run);
        }
      }
    }
    return table;
  }

  SummaryTable failedRuns() const {
    SummaryTable table;
    for (const auto& [time, run] : _summary.failedRuns().things) {
      table.rows.push_back({cellsOf(run, time), run.run});
    }
    table.left = _summary.failedRuns().count - table.rows.size();
    return table;
  }

  SummaryTable history() const {
    SummaryTable table;
    for (const auto& [begun, each] : _summary.history().things) {
      const auto add = [&, &run = each, at = begun](
                           uint32_t phase, uint32_t name, const std::string& value,
                           std::string_view result, const std::string& reason) {
        table.rows.push_back({{{"time", "Time", Style::kPlace, time(run.timeText, at)},
                               {"unit", "Unit", Style::kText, run.unit},
                               {"station", "Station", Style::kText, _names.text(run.station)},
                               {"run", "Run", Style::kCode, run.id},
                               {"phase", "Phase", Style::kText, _names.text(phase)},
                               {"measurement", "Measurement", Style::kText, _names.text(name)},
                               {"value", "Value", Style::kReason, value},
                               {"result", "Result", Style::kLine, result},
                               {"reason", "Reason", Style::kText, reason}}});
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
    table.left = _summary.history().count - _summary.history().things.size();
    return table;
  }

  SummaryTable times() const {
    std::vector<std::pair<const YieldSpan*, const StationSummary*>> spans;
    for (const StationSummary& station : _summary.stations()) {
      if (!_source.hasYields) break;
      for (const YieldSpan& span : station.times()) spans.emplace_back(&span, &station);
    }
    std::ranges::stable_sort(spans, std::greater<>(),
                             [](const auto& each) { return each.first->first; });
    SummaryTable table;
    for (const auto& [span, station] : spans) addRow(table, *station, cellsOf(*span));
    return table;
  }

  void addTrend(SummaryTable& table, const StationSummary& station,
                const MeasurementSummary& measurement) const {
    Cells place = cellsOf(measurement);
    std::erase_if(place, [](const Cell& cell) { return cell.style != Style::kPlace; });
    for (auto span = measurement.times.rbegin(); span != measurement.times.rend(); ++span) {
      Cells cells = place;
      append(cells, cellsOf(*span));
      addRow(table, station, std::move(cells));
    }
  }

  /// Adds a row with the station, and its group, before the cells.
  TableRow& addRow(SummaryTable& table, const StationSummary& station, Cells cells) const {
    TableRow& row = table.rows.emplace_back();
    row.cells = placeOf(station);
    append(row.cells, std::move(cells));
    return row;
  }

  ordered_json list(const auto& rows) const {
    ordered_json list = ordered_json::array();
    for (const auto& row : rows) list.push_back(objectOf(cellsOf(row)));
    return list;
  }

  Cells placeOf(const StationSummary& station) const {
    Cells cells = {{"station", "Station", Style::kPlace, _names.text(station.name())}};
    if (_summary.groupBy()) {
      const std::string name(kGroupFields[*_summary.groupBy()]);
      cells.emplace_back(name, capitalized(name), Style::kPlace,
                         _summary.groupName(station.group()));
    }
    return cells;
  }

  Cells cellsOf(const StationSummary& station) const {
    const Yield& yield = station.yield();
    const Duration& duration = station.duration();
    Cells cells = {{"firstPassYield", "First pass", Style::kNumber,
                    share(yield.firstPassed, yield.firstUnits)},
                   {"finalYield", "Final", Style::kNumber, share(yield.lastPassed, yield.units)},
                   {"units", "Units", Style::kNumber, yield.units},
                   {"firstUnits", yield.firstUnits}};
    if (!_source.hasYields) cells = blank(std::move(cells));
    cells.emplace_back("runs", "Runs", Style::kNumber, station.runs());
    for (size_t i = 0; i < kVerdicts; ++i) {
      const auto verdict = static_cast<Verdict>(i);
      const bool isShown = verdict == Verdict::kFailed || verdict == Verdict::kRefused ||
                           verdict == Verdict::kUntrusted;
      cells.emplace_back("verdicts/" + std::string(nameOf(verdict)),
                         isShown ? capitalized(nameOf(verdict)) : "", Style::kNumber,
                         station.runs(verdict));
      if (verdict != Verdict::kIncomplete) continue;
      cells.emplace_back("", "Unfinished", Style::kNumber,
                         station.runs(verdict) + station.runs(Verdict::kUnfinished));
    }
    cells.emplace_back("runsPerHour", "Runs/h", Style::kNumber, rounded(station.runsPerHour()));
    append(cells, cellsOf(duration), "seconds/");
    return cells;
  }

  static Cells cellsOf(const Duration& duration) {
    return {{"count", duration.count == 0 ? Value() : Value(duration.count)},
            {"median", "Median", Style::kNumber, seconds(duration, duration.median)},
            {"percentile95", "95 %", Style::kNumber, seconds(duration, duration.percentile95)}};
  }

  Cells cellsOf(const Failure& failure) const {
    return {
        {"phase", "Phase", Style::kPlace, _names.text(failure.phase)},
        {"measurement", "Measurement", Style::kPlace, _names.text(failure.measurement.value_or(0))},
        {"runs", "Runs", Style::kNumber, failure.runs},
        {"", "Of runs", Style::kShare, share(failure.runs, failure.ofRuns)}};
  }

  Cells cellsOf(const FailedRun& run, int64_t begun) const {
    const Measurement* const measured = run.measurement ? &*run.measurement : nullptr;
    const std::string verdict(nameOf(run.verdict));
    Cells cells = {{"unit", "Unit", Style::kPlace,
                    run.unit.empty() ? Value(nullptr, "(unidentified)") : Value(run.unit)},
                   {"time", "Time", Style::kLine, time(run.timeText, begun)},
                   {"station", "Station", Style::kText, _names.text(run.station)},
                   {"phase", "Phase", Style::kText, _names.text(run.phase)},
                   {"", "Measurement", Style::kText, measured ? _names.text(measured->name) : ""},
                   {"", "Value", Style::kReason, measured ? valueText(*measured, _names) : ""},
                   {"reason", "Reason", Style::kText, run.reason},
                   {"run", "Run", Style::kCode, run.run},
                   {"verdict",
                    "Verdict",
                    Style::kText,
                    {verdict, run.hasPassedSince ? verdict + ", then passed" : ""}},
                   {"passedSince", run.hasPassedSince}};
    append(cells, measured ? cellsOf(*measured) : blank(cellsOf(Measurement())), "measurement/");
    return cells;
  }

  Cells cellsOf(const MeasurementSummary& measurement) const {
    const Statistics& values = measurement.statistics;
    const auto extreme = [&](double value) {
      if (values.count() == 0) return Value();
      return Value(value, roundedTo(value, values.deviation().value_or(0)));
    };
    const Capability shortTerm =
        values.capability(values.neighboursDeviation(), measurement.lower, measurement.upper);
    const Capability overall =
        values.capability(values.deviation(), measurement.lower, measurement.upper);
    return {{"phase", "Phase", Style::kPlace, _names.text(measurement.phase)},
            {"name", "Measurement", Style::kPlace,
             Value(_names.text(measurement.name), nameText(measurement, _names))},
            {"isCheck", measurement.isCheck},
            {"unitOfMeasure", _names.text(measurement.unitOfMeasure)},
            {"count", "Count", Style::kNumber, measurement.count},
            {"notNumbers", measurement.notNumbers},
            {"mean", "Mean", Style::kNumber, mean(values.moments())},
            {"deviation", "Deviation", Style::kNumber, rounded(values.deviation())},
            {"minimum", "Minimum", Style::kNumber, extreme(values.minimum())},
            {"maximum", "Maximum", Style::kNumber, extreme(values.maximum())},
            {"lower", measurement.lower},
            {"upper", measurement.upper},
            {"", "Limits", Style::kText, limitsText(measurement)},
            {"variousLimits", measurement.hasVariousLimits},
            {"outside", "Outside", Style::kNumber, measurement.outside},
            {"cp", "Cp", Style::kNumber, rounded(shortTerm.potential)},
            {"cpk", "Cpk", Style::kNumber, rounded(shortTerm.actual)},
            {"pp", "Pp", Style::kNumber, rounded(overall.potential)},
            {"ppk", "Ppk", Style::kNumber, rounded(overall.actual)},
            {"", "Values", Style::kNumber, values.count()}};
  }

  Cells cellsOf(const PhaseSummary& phase) const {
    Cells cells = {{"phase", "Phase", Style::kPlace, _names.text(phase.name)},
                   {"runs", "Runs", Style::kNumber, phase.runs},
                   {"failed", "Failed", Style::kNumber, phase.failedRuns},
                   {"repeatedAttempts", "Repeated", Style::kNumber, phase.repeatedAttempts}};
    append(cells, cellsOf(phase.duration), "seconds/");
    return cells;
  }

  Cells cellsOf(const YieldSpan& span) const {
    const YieldTime& time = span.second;
    return {{"from", "From", Style::kLine, wallTimeText(span.first * _summary.spanHours())},
            {"runs", "Runs", Style::kNumber, time.runs},
            {"passed", time.passed},
            {"", "Passed", Style::kNumber, share(time.passed, time.runs)},
            {"firstUnits", time.firstUnits},
            {"firstPassed", time.firstPassed},
            {"", "First pass", Style::kNumber, share(time.firstPassed, time.firstUnits)}};
  }

  Cells cellsOf(const MeasurementSpan& span) const {
    const Moments& moments = span.second.moments;
    return {{"from", "From", Style::kLine, wallTimeText(span.first * _summary.spanHours())},
            {"count", "Values", Style::kNumber, moments.count()},
            {"mean", "Mean", Style::kNumber, mean(moments)},
            {"deviation", "Deviation", Style::kNumber, rounded(moments.deviation())},
            {"outside", "Outside", Style::kNumber, span.second.outside}};
  }

  Cells cellsOf(const PhaseResult& phase) const { return tools::cellsOf(phase, _names); }
  Cells cellsOf(const Measurement& measured) const { return tools::cellsOf(measured, _names); }

  const Summary& _summary;
  const Names& _names;
  const ResultsSource& _source;
};

/// Prints at most `most` rows of the table as people read it.
void print(std::ostream& out, TableKind kind, const SummaryTable& table, size_t most) {
  std::vector<Column> columns;
  for (const Cell& cell : table.rows.at(0).cells) {
    std::string title = cell.title;
    std::ranges::transform(title, title.begin(), upperCase);
    if (!title.empty()) columns.push_back({title, cell.isNumber() ? Align::kRight : Align::kLeft});
  }
  Table shown(columns);
  const size_t rows = std::min(most, table.rows.size());
  for (size_t i = 0; i < rows; ++i) {
    std::vector<std::string> cells;
    for (const Cell& cell : table.rows[i].cells) {
      if (!cell.title.empty()) cells.push_back(printable(cell.text()));
    }
    shown.addRow(std::move(cells));
  }
  shown.print(out);
  if (const uint64_t more = table.rows.size() - rows + table.left; more > 0) {
    out << "... and " << more << " more";
    if (rows < table.rows.size()) out << ": --table " << kTableNames[static_cast<size_t>(kind)];
    out << "\n";
  }
}

}  // namespace

std::vector<std::pair<std::string, uint64_t>> leftOut(const ResultsSource& source) {
  std::vector<std::pair<std::string, uint64_t>> texts = {
      {"damaged lines, left out", source.damagedLines},
      {"files or folders that cannot be read", source.unreadableFiles},
      {"lines read before or after the end of their run, left out", source.repeatedLines}};
  std::erase_if(texts, [](const auto& text) { return text.second == 0; });
  return texts;
}

SummaryTable tableOf(TableKind kind, const Results& results) { return Tables(results).table(kind); }

std::string titleOf(TableKind kind) { return kAbout[static_cast<size_t>(kind)].title; }

void printTable(std::ostream& out, TableKind kind, const Results& results, bool asCsv) {
  const SummaryTable table = tableOf(kind, results);
  if (table.rows.empty()) {
    std::cerr << "corvane: the table " << kTableNames[static_cast<size_t>(kind)] << " is empty\n";
    return;
  }
  if (!asCsv) return print(out, kind, table, SIZE_MAX);
  printCsv(out, table.rows[0].cells, true);
  for (const TableRow& row : table.rows) printCsv(out, row.cells);
}

void printSummary(std::ostream& out, const Results& results) {
  for (size_t i = 0; i < kTableNames.size(); ++i) {
    const auto kind = static_cast<TableKind>(i);
    if (kind > TableKind::kHistory && results.summary.history().count > 0) break;
    const SummaryTable table = tableOf(kind, results);
    if (table.rows.empty()) continue;
    if (i > 0) out << "\n" << kAbout[i].title << "\n";
    print(out, kind, table, kAbout[i].maxRows);
  }
}

ordered_json summaryAsJson(const Results& results) {
  const Tables tables(results);
  ordered_json json = {{"stations", ordered_json::array()}};
  for (const StationSummary& station : results.summary.stations()) {
    json["stations"].push_back(tables.json(station));
  }
  json["failedRuns"] = tables.failedRunsAsJson();
  json["failedRunCount"] = results.summary.failedRuns().count;
  if (results.summary.history().count > 0) json["history"] = tables.historyAsJson();
  json["files"] = results.source.files;
  json["damagedLines"] = results.source.damagedLines;
  json["repeatedLines"] = results.source.repeatedLines;
  json["unreadableFiles"] = results.source.unreadableFiles;
  return json;
}

}  // namespace corvane::tools
