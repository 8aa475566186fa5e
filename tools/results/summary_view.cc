#include "tools/results/summary_view.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "platform/number.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;

constexpr size_t kShownFailedRuns = 20;
constexpr size_t kShownTimes = 24;

std::string limitsText(std::optional<double> lower, std::optional<double> upper) {
  if (lower && upper) return decimalText(*lower) + " to " + decimalText(*upper);
  if (lower) return "at least " + decimalText(*lower);
  return upper ? "at most " + decimalText(*upper) : "-";
}

void printIfAny(std::ostream& out, const Table& table, const std::string& title) {
  if (table.isEmpty()) return;
  out << "\n" << title << "\n";
  table.print(out);
}

/// The tables of a summary on a terminal, each with a column for the group when there are groups.
class Printer {
 public:
  Printer(std::ostream& out, const Summary& summary, const Names& names)
      : _out(out), _summary(summary), _names(names) {}

  void printYields(bool hasYields) {
    Table table = tableOf({{"FIRST PASS", Align::kRight},
                           {"FINAL", Align::kRight},
                           {"UNITS", Align::kRight},
                           {"RUNS", Align::kRight},
                           {"FAILED", Align::kRight},
                           {"UNFINISHED", Align::kRight},
                           {"REFUSED", Align::kRight},
                           {"UNTRUSTED", Align::kRight},
                           {"RUNS/H", Align::kRight},
                           {"MEDIAN", Align::kRight},
                           {"95 %", Align::kRight}});
    for (const StationSummary& station : _summary.stations()) {
      const Yield& yield = station.yield();
      const Duration duration = station.duration();
      addRow(
          table, station,
          {hasYields ? percentText(yield.firstPassed, yield.firstUnits) : "-",
           hasYields ? percentText(yield.lastPassed, yield.units) : "-",
           hasYields ? std::to_string(yield.units) : "-", std::to_string(station.runs()),
           std::to_string(station.runs(Verdict::kFailed)),
           std::to_string(station.runs(Verdict::kIncomplete) + station.runs(Verdict::kUnfinished)),
           std::to_string(station.runs(Verdict::kRefused)),
           std::to_string(station.runs(Verdict::kUntrusted)), roundedText(station.runsPerHour()),
           secondsText(duration, duration.median), secondsText(duration, duration.percentile95)});
    }
    table.print(_out);
  }

  void printFailures() {
    Table table =
        tableOf({{"PHASE"}, {"MEASUREMENT"}, {"RUNS", Align::kRight}, {"OF RUNS", Align::kRight}});
    for (const StationSummary& station : _summary.stations()) {
      for (const Failure& failure : station.failures()) {
        addRow(table, station,
               {text(failure.phase), failure.measurement ? text(*failure.measurement) : "",
                std::to_string(failure.runs), percentText(failure.runs, station.testedRuns())});
      }
    }
    printIfAny(_out, table, "What fails");
  }

  void printFailedRuns() {
    Table table({{"TIME"},
                 {"UNIT"},
                 {"STATION"},
                 {"RUN"},
                 {"VERDICT"},
                 {"SINCE"},
                 {"PHASE"},
                 {"MEASUREMENT"},
                 {"VALUE"},
                 {"REASON"}});
    const auto& failed = _summary.failedRuns();
    for (const auto& [time, each] : failed.newest(kShownFailedRuns)) {
      const FailedRun& run = *each;
      table.addRow({printable(run.timeText), printable(run.unit), text(run.station),
                    printable(run.run), std::string(nameOf(run.verdict)),
                    run.hasPassedSince ? "passed" : "", text(run.phase),
                    run.measurement ? text(run.measurement->name) : "",
                    run.measurement ? printable(valueText(*run.measurement, _names)) : "",
                    printable(run.reason)});
    }
    printIfAny(_out, table, "Runs that did not pass, the newest first");
    if (failed.count() > kShownFailedRuns) {
      _out << "... and " << failed.count() - kShownFailedRuns << " more\n";
    }
  }

  void printMeasurements() {
    Table table = tableOf({{"PHASE"},
                           {"MEASUREMENT"},
                           {"COUNT", Align::kRight},
                           {"MEAN", Align::kRight},
                           {"DEVIATION", Align::kRight},
                           {"MINIMUM", Align::kRight},
                           {"MAXIMUM", Align::kRight},
                           {"LIMITS"},
                           {"OUTSIDE", Align::kRight},
                           {"CP", Align::kRight},
                           {"CPK", Align::kRight},
                           {"PP", Align::kRight},
                           {"PPK", Align::kRight}});
    for (const auto& [summary, each] : _summary.measurements()) {
      const StationSummary& station = *summary;
      const MeasurementSummary& measurement = *each;
      const Statistics& values = measurement.statistics;
      const bool hasValues = values.count() > 0;
      const Capability shortTerm =
          values.capability(values.neighboursDeviation(), measurement.lower, measurement.upper);
      const Capability overall =
          values.capability(values.deviation(), measurement.lower, measurement.upper);
      addRow(table, station,
             {text(measurement.phase), printable(nameText(measurement, _names)),
              std::to_string(measurement.count), meanText(values), roundedText(values.deviation()),
              hasValues ? numberText(values.minimum()) : "-",
              hasValues ? numberText(values.maximum()) : "-", limitsText(measurement),
              std::to_string(measurement.outside), roundedText(shortTerm.potential),
              roundedText(shortTerm.actual), roundedText(overall.potential),
              roundedText(overall.actual)});
    }
    printIfAny(_out, table, "Measurements and checks, those that fail first");
  }

  void printPhases() {
    Table table = tableOf({{"PHASE"},
                           {"RUNS", Align::kRight},
                           {"FAILED", Align::kRight},
                           {"REPEATED", Align::kRight},
                           {"MEDIAN", Align::kRight},
                           {"95 %", Align::kRight}});
    for (const StationSummary& station : _summary.stations()) {
      for (const PhaseSummary& phase : station.phases()) {
        const Duration duration = durationOf(phase.seconds);
        addRow(table, station,
               {text(phase.name), std::to_string(phase.runs), std::to_string(phase.failedRuns),
                std::to_string(phase.repeatedAttempts), secondsText(duration, duration.median),
                secondsText(duration, duration.percentile95)});
      }
    }
    printIfAny(_out, table, "Phases");
  }

  void printTimes() {
    Table table = tableOf({{"FROM"},
                           {"RUNS", Align::kRight},
                           {"PASSED", Align::kRight},
                           {"FIRST PASS", Align::kRight}});
    for (const StationSummary& station : _summary.stations()) {
      const size_t left = station.times().size() - std::min(station.times().size(), kShownTimes);
      size_t number = 0;
      for (const auto& [span, time] : station.times()) {
        if (number++ < left) continue;
        addRow(
            table, station,
            {wallTimeText(span * _summary.spanHours()), std::to_string(time.runs),
             percentText(time.passed, time.runs), percentText(time.firstPassed, time.firstUnits)});
      }
    }
    printIfAny(_out, table, "Yields over time, the last " + std::to_string(kShownTimes));
  }

  void printHistory() {
    Table table({{"TIME"},
                 {"STATION"},
                 {"RUN"},
                 {"VERDICT"},
                 {"PHASE"},
                 {"MEASUREMENT"},
                 {"VALUE"},
                 {"RESULT"},
                 {"REASON"}});
    for (const auto& [time, run] : _summary.history().things()) {
      const std::string front[] = {printable(run.timeText), text(run.station), printable(run.id),
                                   std::string(nameOf(run.verdict))};
      const auto add = [&](uint32_t phase, const std::string& name, const std::string& value,
                           const std::string& result, const std::string& reason) {
        table.addRow({front[0], front[1], front[2], front[3], text(phase), name, printable(value),
                      result, printable(reason)});
      };
      add(0, "", "", std::string(nameOf(run.verdict)), run.reason);
      for (const PhaseResult& phase : run.phases) {
        add(phase.name, "", roundedText(phase.seconds) + " s", std::string(nameOf(phase.verdict)),
            phase.reason);
      }
      for (const Measurement& each : run.measurements) {
        add(each.phase, text(each.name), valueText(each, _names),
            each.isRepeated ? "repeated"
            : each.isInside ? "inside"
                            : "outside",
            "");
      }
    }
    printIfAny(_out, table, "Runs on the unit");
  }

 private:
  Table tableOf(std::vector<Column> columns) const {
    if (_summary.groupBy()) {
      std::string title(kGroupFields[*_summary.groupBy()]);
      std::ranges::transform(title, title.begin(),
                             [](char c) { return static_cast<char>(c - 32); });
      columns.insert(columns.begin(), {title});
    }
    columns.insert(columns.begin(), {"STATION"});
    return Table(columns);
  }

  void addRow(Table& table, const StationSummary& station, std::vector<std::string> cells) const {
    if (_summary.groupBy()) {
      cells.insert(cells.begin(), printable(_summary.groupName(station.group())));
    }
    cells.insert(cells.begin(), text(station.name()));
    table.addRow(std::move(cells));
  }

  std::string text(uint32_t name) const { return printable(_names.text(name)); }

  static std::string secondsText(const Duration& duration, float seconds) {
    return duration.count == 0 ? "-" : roundedText(seconds) + " s";
  }

  std::ostream& _out;
  const Summary& _summary;
  const Names& _names;
};

ordered_json partOf(uint64_t part, uint64_t whole) {
  return whole == 0 ? ordered_json(nullptr)
                    : ordered_json(static_cast<double>(part) / static_cast<double>(whole));
}

/// Returns the seconds to the millisecond, as results have them.
double milliseconds(float seconds) { return std::round(double{seconds} * 1000) / 1000; }

ordered_json durationAsJson(const Duration& duration) {
  if (duration.count == 0) return nullptr;
  return {{"count", duration.count},
          {"median", milliseconds(duration.median)},
          {"percentile95", milliseconds(duration.percentile95)}};
}

ordered_json measurementAsJson(const MeasurementSummary& measurement, const Names& names,
                               int64_t spanHours) {
  const Statistics& values = measurement.statistics;
  const auto ifAny = [&](double value) {
    return orNull(values.count() > 0 ? std::optional(value) : std::nullopt);
  };
  const Capability shortTerm =
      values.capability(values.neighboursDeviation(), measurement.lower, measurement.upper);
  const Capability overall =
      values.capability(values.deviation(), measurement.lower, measurement.upper);
  ordered_json json = {{"phase", names.text(measurement.phase)},
                       {"name", names.text(measurement.name)},
                       {"isCheck", measurement.isCheck},
                       {"unitOfMeasure", orNull(names.text(measurement.unitOfMeasure))},
                       {"count", measurement.count},
                       {"notNumbers", measurement.notNumbers},
                       {"mean", ifAny(values.mean())},
                       {"deviation", orNull(values.deviation())},
                       {"minimum", ifAny(values.minimum())},
                       {"maximum", ifAny(values.maximum())},
                       {"lower", orNull(measurement.lower)},
                       {"upper", orNull(measurement.upper)},
                       {"variousLimits", measurement.hasVariousLimits},
                       {"outside", measurement.outside},
                       {"cp", orNull(shortTerm.potential)},
                       {"cpk", orNull(shortTerm.actual)},
                       {"pp", orNull(overall.potential)},
                       {"ppk", orNull(overall.actual)}};
  if (measurement.outside == 0) return json;
  ordered_json times = ordered_json::array();
  for (const auto& [span, time] : measurement.times) {
    const bool isEmpty = time.moments.count() == 0;
    times.push_back({{"from", wallTimeText(span * spanHours)},
                     {"count", time.moments.count()},
                     {"mean", isEmpty ? ordered_json(nullptr) : ordered_json(time.moments.mean())},
                     {"deviation", orNull(time.moments.deviation())},
                     {"outside", time.outside}});
  }
  json["times"] = times;
  return json;
}

ordered_json measurementOfRun(const Measurement& measurement, const Names& names) {
  ordered_json json = {{"phase", names.text(measurement.phase)},
                       {"name", names.text(measurement.name)},
                       {"value", orNull(measurement.value)},
                       {"unitOfMeasure", orNull(names.text(measurement.unitOfMeasure))},
                       {"lower", orNull(measurement.lower)},
                       {"upper", orNull(measurement.upper)},
                       {"inside", measurement.isInside}};
  if (measurement.attempt > 0) json["attempt"] = measurement.attempt;
  if (measurement.isRepeated) json["repeated"] = true;
  if (measurement.isCheck) {
    json["text"] = measurement.text;
    json["expected"] = measurement.expected;
  }
  return json;
}

ordered_json failedRunsAsJson(const Summary& summary, const Names& names) {
  ordered_json list = ordered_json::array();
  for (const auto& [time, each] : summary.failedRuns().newest()) {
    const FailedRun& run = *each;
    list.push_back({{"unit", orNull(run.unit)},
                    {"run", run.run},
                    {"station", names.text(run.station)},
                    {"time", run.timeText},
                    {"verdict", nameOf(run.verdict)},
                    {"passedSince", run.hasPassedSince},
                    {"phase", orNull(names.text(run.phase))},
                    {"reason", orNull(run.reason)},
                    {"measurement", run.measurement ? measurementOfRun(*run.measurement, names)
                                                    : ordered_json(nullptr)}});
  }
  return list;
}

ordered_json historyAsJson(const Summary& summary, const Names& names) {
  ordered_json list = ordered_json::array();
  for (const auto& [time, run] : summary.history().things()) {
    ordered_json phases = ordered_json::array(), measurements = ordered_json::array();
    for (const PhaseResult& phase : run.phases) {
      phases.push_back({{"phase", names.text(phase.name)},
                        {"verdict", nameOf(phase.verdict)},
                        {"seconds", phase.seconds},
                        {"reason", orNull(phase.reason)}});
    }
    for (const Measurement& each : run.measurements) {
      measurements.push_back(measurementOfRun(each, names));
    }
    ordered_json json = {{"run", run.id},
                         {"unit", orNull(run.unit)},
                         {"station", names.text(run.station)},
                         {"time", run.timeText}};
    for (size_t i = 0; i < run.fields.size(); ++i) {
      json[std::string(kRunFieldNames[i])] = orNull(names.text(run.fields[i]));
    }
    json.update({{"verdict", nameOf(run.verdict)},
                 {"seconds", run.seconds},
                 {"reason", orNull(run.reason)},
                 {"phases", phases},
                 {"measurements", measurements}});
    list.push_back(json);
  }
  return list;
}

ordered_json stationAsJson(const StationSummary& station, const Summary& summary,
                           const Names& names, bool hasYields) {
  ordered_json verdicts, failures = ordered_json::array(), phases = failures, times = failures,
                         measurements = failures;
  for (size_t i = 0; i < kVerdicts; ++i) {
    verdicts[std::string(nameOf(static_cast<Verdict>(i)))] = station.runs(static_cast<Verdict>(i));
  }
  for (const Failure& failure : station.failures()) {
    failures.push_back(
        {{"phase", names.text(failure.phase)},
         {"measurement", failure.measurement ? ordered_json(names.text(*failure.measurement))
                                             : ordered_json(nullptr)},
         {"runs", failure.runs}});
  }
  for (const PhaseSummary& phase : station.phases()) {
    phases.push_back({{"phase", names.text(phase.name)},
                      {"runs", phase.runs},
                      {"failed", phase.failedRuns},
                      {"repeatedAttempts", phase.repeatedAttempts},
                      {"seconds", durationAsJson(durationOf(phase.seconds))}});
  }
  for (const auto& [span, time] : station.times()) {
    times.push_back({{"from", wallTimeText(span * summary.spanHours())},
                     {"runs", time.runs},
                     {"passed", time.passed},
                     {"firstUnits", time.firstUnits},
                     {"firstPassed", time.firstPassed}});
  }
  for (const MeasurementSummary* measurement : station.failingFirst()) {
    measurements.push_back(measurementAsJson(*measurement, names, summary.spanHours()));
  }
  const Yield& yield = station.yield();
  ordered_json json = {{"station", names.text(station.name())}};
  if (summary.groupBy()) {
    json[std::string(kGroupFields[*summary.groupBy()])] = summary.groupName(station.group());
  }
  json.update({{"runs", station.runs()}, {"verdicts", verdicts}});
  if (hasYields) {
    json.update({{"units", yield.units},
                 {"firstUnits", yield.firstUnits},
                 {"firstPassYield", partOf(yield.firstPassed, yield.firstUnits)},
                 {"finalYield", partOf(yield.lastPassed, yield.units)},
                 {"times", times}});
  }
  json.update({{"seconds", durationAsJson(station.duration())},
               {"runsPerHour", station.runsPerHour()},
               {"failures", failures},
               {"phases", phases},
               {"measurements", measurements}});
  return json;
}

}  // namespace

std::string percentText(uint64_t part, uint64_t whole) {
  if (whole == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f %%",
                100 * static_cast<double>(part) / static_cast<double>(whole));
  return text;
}

std::string numberText(std::optional<double> value) { return value ? decimalText(*value) : "-"; }

std::string roundedText(std::optional<double> value) {
  if (!value) return "-";
  // Small numbers keep four digits.
  const double size = std::abs(*value);
  const int digits =
      size >= 1 || size == 0 ? 3 : 3 - static_cast<int>(std::floor(std::log10(size)));
  const double step = std::pow(10, std::min(digits, 300));
  const double rounded = std::round(*value * step) / step;
  return decimalText(std::isfinite(rounded) && size < 1e9 ? rounded : *value);
}

std::string roundedTo(double value, double deviation) {
  if (!(deviation > 0) || !std::isfinite(deviation)) return decimalText(value);
  // Multiples of a power of ten that is at most a thousandth of the deviation.
  const double step = std::pow(10, std::floor(std::log10(deviation)) - 3);
  const double rounded = step < 1 ? std::round(value * std::round(1 / step)) / std::round(1 / step)
                                  : std::round(value / step) * step;
  return decimalText(std::isfinite(rounded) ? rounded : value);
}

std::string meanText(const Statistics& statistics) {
  return statistics.count() == 0 ? "-"
                                 : roundedTo(statistics.mean(), statistics.deviation().value_or(0));
}

std::string limitsText(const MeasurementSummary& measurement) {
  return measurement.hasVariousLimits ? "various"
                                      : limitsText(measurement.lower, measurement.upper);
}

std::string valueText(const Measurement& measurement, const Names& names) {
  if (measurement.isCheck) return measurement.text + ", expected " + measurement.expected;
  std::string text = measurement.value ? decimalText(*measurement.value) : "not a number";
  const std::string& unit = names.text(measurement.unitOfMeasure);
  if (!unit.empty()) text.append(" ").append(unit);
  const std::string limits = limitsText(measurement.lower, measurement.upper);
  return limits == "-" ? text : text + " (" + limits + ")";
}

std::string nameText(const MeasurementSummary& measurement, const Names& names) {
  const std::string& unit = names.text(measurement.unitOfMeasure);
  return names.text(measurement.name) + (unit.empty() ? "" : ", " + unit);
}

std::vector<std::string> leftOut(const ResultsSource& source) {
  std::vector<std::string> texts;
  const std::pair<uint64_t, const char*> counts[] = {
      {source.damagedLines, "damaged lines, left out"},
      {source.unreadableFiles, "files or folders that cannot be read"},
      {source.repeatedLines, "lines read before or after the end of their run, left out"}};
  for (const auto& [count, text] : counts) {
    if (count > 0) texts.push_back(std::string(text) + ": " + std::to_string(count));
  }
  return texts;
}

void printSummary(std::ostream& out, const Summary& summary, const Names& names,
                  const ResultsSource& source) {
  Printer printer(out, summary, names);
  printer.printYields(source.hasYields);
  if (summary.history().count() > 0) return printer.printHistory();
  printer.printFailures();
  printer.printFailedRuns();
  printer.printMeasurements();
  printer.printPhases();
  if (source.hasYields) printer.printTimes();
}

ordered_json summaryAsJson(const Summary& summary, const Names& names,
                           const ResultsSource& source) {
  ordered_json stations = ordered_json::array();
  for (const StationSummary& station : summary.stations()) {
    stations.push_back(stationAsJson(station, summary, names, source.hasYields));
  }
  ordered_json json = {{"stations", stations},
                       {"failedRuns", failedRunsAsJson(summary, names)},
                       {"failedRunCount", summary.failedRuns().count()}};
  if (summary.history().count() > 0) json["history"] = historyAsJson(summary, names);
  json.update({{"files", source.files},
               {"damagedLines", source.damagedLines},
               {"repeatedLines", source.repeatedLines},
               {"unreadableFiles", source.unreadableFiles}});
  return json;
}

}  // namespace corvane::tools
