#include "tools/results/summary_view.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "platform/printable.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;

void printYields(std::ostream& out, const Summary& summary, const Names& names) {
  Table table({{"STATION"},
               {"RUNS", Align::kRight},
               {"UNITS", Align::kRight},
               {"FIRST PASS", Align::kRight},
               {"FINAL", Align::kRight},
               {"FAILED", Align::kRight},
               {"UNFINISHED", Align::kRight},
               {"REFUSED", Align::kRight},
               {"UNTRUSTED", Align::kRight}});
  for (const StationSummary& station : summary.stations()) {
    const Yield yield = station.yield();
    const uint64_t unfinished =
        station.runs(RunVerdict::kIncomplete) + station.runs(RunVerdict::kUnfinished);
    table.addRow({printable(names.text(station.name())), std::to_string(station.runs()),
                  std::to_string(yield.units), percentText(yield.firstPassed, yield.units),
                  percentText(yield.lastPassed, yield.units),
                  std::to_string(station.runs(RunVerdict::kFailed)), std::to_string(unfinished),
                  std::to_string(station.runs(RunVerdict::kRefused)),
                  std::to_string(station.runs(RunVerdict::kUntrusted))});
  }
  table.print(out);
}

void printFailures(std::ostream& out, const Summary& summary, const Names& names) {
  Table table({{"FAILS AT"},
               {"PHASE"},
               {"MEASUREMENT"},
               {"RUNS", Align::kRight},
               {"OF FAILED", Align::kRight}});
  bool isEmpty = true;
  for (const StationSummary& station : summary.stations()) {
    for (const Failure& failure : station.failures()) {
      table.addRow({printable(names.text(station.name())), printable(names.text(failure.phase)),
                    failure.measurement ? printable(names.text(*failure.measurement)) : "",
                    std::to_string(failure.runs),
                    percentText(failure.runs, station.runs(RunVerdict::kFailed))});
      isEmpty = false;
    }
  }
  if (isEmpty) return;
  out << "\n";
  table.print(out);
}

void printMeasurements(std::ostream& out, const Summary& summary, const Names& names) {
  Table table({{"STATION"},
               {"PHASE"},
               {"MEASUREMENT"},
               {"COUNT", Align::kRight},
               {"MEAN", Align::kRight},
               {"DEVIATION", Align::kRight},
               {"MINIMUM", Align::kRight},
               {"MAXIMUM", Align::kRight},
               {"LOWER", Align::kRight},
               {"UPPER", Align::kRight},
               {"OUTSIDE", Align::kRight},
               {"CPK", Align::kRight}});
  bool isEmpty = true;
  for (const StationSummary& station : summary.stations()) {
    for (const MeasurementSummary& measurement : station.measurements()) {
      const Statistics& values = measurement.statistics;
      const std::string& unit = names.text(measurement.unitOfMeasure);
      const auto ifAny = [&](double value) {
        return numberText(values.count() > 0 ? std::optional(value) : std::nullopt);
      };
      table.addRow({printable(names.text(station.name())), printable(names.text(measurement.phase)),
                    printable(names.text(measurement.name) + (unit.empty() ? "" : ", " + unit)),
                    std::to_string(values.count() + measurement.notNumbers), ifAny(values.mean()),
                    ifAny(values.deviation()), ifAny(values.minimum()), ifAny(values.maximum()),
                    numberText(measurement.lower), numberText(measurement.upper),
                    std::to_string(measurement.outside),
                    numberText(values.capability(measurement.lower, measurement.upper))});
      isEmpty = false;
    }
  }
  if (isEmpty) return;
  out << "\n";
  table.print(out);
}

ordered_json orNull(std::optional<double> value) {
  return value ? ordered_json(*value) : ordered_json(nullptr);
}

ordered_json measurementAsJson(const MeasurementSummary& measurement, const Names& names) {
  const Statistics& values = measurement.statistics;
  const auto ifAny = [&](double value) {
    return orNull(values.count() > 0 ? std::optional(value) : std::nullopt);
  };
  const std::string& unit = names.text(measurement.unitOfMeasure);
  return {{"phase", names.text(measurement.phase)},
          {"name", names.text(measurement.name)},
          {"unitOfMeasure", unit.empty() ? ordered_json(nullptr) : ordered_json(unit)},
          {"count", values.count() + measurement.notNumbers},
          {"notNumbers", measurement.notNumbers},
          {"mean", ifAny(values.mean())},
          {"deviation", ifAny(values.deviation())},
          {"minimum", ifAny(values.minimum())},
          {"maximum", ifAny(values.maximum())},
          {"lower", orNull(measurement.lower)},
          {"upper", orNull(measurement.upper)},
          {"outside", measurement.outside},
          {"cpk", orNull(values.capability(measurement.lower, measurement.upper))}};
}

}  // namespace

std::string percentText(uint64_t part, uint64_t whole) {
  if (whole == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f %%",
                100 * static_cast<double>(part) / static_cast<double>(whole));
  return text;
}

std::string numberText(std::optional<double> value) {
  if (!value) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", *value);
  return text;
}

void printSummary(std::ostream& out, const Summary& summary, const Names& names) {
  printYields(out, summary, names);
  printFailures(out, summary, names);
  printMeasurements(out, summary, names);
}

ordered_json summaryAsJson(const Summary& summary, const Names& names) {
  ordered_json stations = ordered_json::array();
  for (const StationSummary& station : summary.stations()) {
    const Yield yield = station.yield();
    ordered_json verdicts;
    for (size_t i = 0; i < kVerdicts; ++i) {
      const auto verdict = static_cast<RunVerdict>(i);
      verdicts[nameOf(verdict)] = station.runs(verdict);
    }
    ordered_json failures = ordered_json::array();
    for (const Failure& failure : station.failures()) {
      failures.push_back(
          {{"phase", names.text(failure.phase)},
           {"measurement", failure.measurement ? ordered_json(names.text(*failure.measurement))
                                               : ordered_json(nullptr)},
           {"runs", failure.runs}});
    }
    ordered_json measurements = ordered_json::array();
    for (const MeasurementSummary& measurement : station.measurements()) {
      measurements.push_back(measurementAsJson(measurement, names));
    }
    const auto part = [&](uint64_t passed) {
      return yield.units == 0
                 ? ordered_json(nullptr)
                 : ordered_json(static_cast<double>(passed) / static_cast<double>(yield.units));
    };
    stations.push_back({{"station", names.text(station.name())},
                        {"runs", station.runs()},
                        {"verdicts", verdicts},
                        {"units", yield.units},
                        {"firstPassYield", part(yield.firstPassed)},
                        {"finalYield", part(yield.lastPassed)},
                        {"failures", failures},
                        {"measurements", measurements}});
  }
  return {{"stations", stations}};
}

}  // namespace corvane::tools
