#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/html/markup.h"
#include "tools/results/summary_view.h"

namespace corvane::tools {
namespace {

// Text and background of each pair have a contrast of at least 4.5 in both schemes.
constexpr char kHead[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Results</title><style>
:root { color-scheme: light dark; --back: #fff; --text: #222; --line: #ddd; --bar: #c44;
  --mark: #58a; --limit: #c22 }
@media screen and (prefers-color-scheme: dark) { :root { --back: #111418; --text: #e6e9ed; --line: #3a424c;
  --bar: #d66; --mark: #6ab; --limit: #f77 } }
* { box-sizing: border-box }
body { font: 14px/1.4 sans-serif; margin: 0 auto; max-width: 72rem; padding: 1rem;
  background: var(--back); color: var(--text); overflow-wrap: anywhere }
.wide { overflow-x: auto; margin: 0.5em 0 1.5em }
table { border-collapse: collapse }
th, td { padding: 0.2em 0.8em; text-align: right; border-bottom: 1px solid var(--line);
  overflow-wrap: normal; white-space: nowrap }
th:first-child, td:first-child { text-align: left; padding-left: 0; white-space: normal;
  overflow-wrap: anywhere; min-width: 8rem }
td.bar { text-align: left; min-width: 12rem; width: 20em }
td.bar div { background: var(--bar); height: 1em }
figure { display: inline-block; vertical-align: top; margin: 0 1.5em 1.5em 0; width: 320px;
  max-width: 100% }
figcaption { font-size: 12px }
svg { display: block; width: 100%; border-bottom: 1px solid var(--line) }
rect { fill: var(--mark) } line { stroke: var(--limit); stroke-width: 1.5 }
@media print { :root { color-scheme: light }
  body { max-width: none; padding: 0 }
  td.bar div { -webkit-print-color-adjust: exact; print-color-adjust: exact }
  tr, figure { break-inside: avoid } h2 { break-after: avoid } }
</style></head><body>
)";

template <typename... Values>
std::string formatted(const char* format, Values... values) {
  char text[256];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string cell(const std::string& text) { return "<td>" + markupText(text) + "</td>"; }

std::string yields(const Summary& summary, const Names& names) {
  std::string html =
      "<h1>Results</h1>\n<div "
      "class=\"wide\"><table><tr><th>Station</th><th>Runs</th><th>Units</th><th>First-pass "
      "yield</th><th>Final yield</th><th>Failed</th><th>Unfinished</th></tr>\n";
  for (const StationSummary& station : summary.stations()) {
    const Yield yield = station.yield();
    html += "<tr>" + cell(names.text(station.name())) + cell(std::to_string(station.runs())) +
            cell(std::to_string(yield.units)) + cell(percentText(yield.firstPassed, yield.units)) +
            cell(percentText(yield.lastPassed, yield.units)) +
            cell(std::to_string(station.runs(RunVerdict::kFailed))) +
            cell(std::to_string(station.runs(RunVerdict::kIncomplete) +
                                station.runs(RunVerdict::kUnfinished))) +
            "</tr>\n";
  }
  return html + "</table></div>\n";
}

std::string failures(const StationSummary& station, const Names& names) {
  const std::vector<Failure> failures = station.failures();
  if (failures.empty()) return "<p>No phase failed.</p>\n";
  std::string html =
      "<div class=\"wide\"><table><tr><th>Fails</th><th>Runs</th><th>Of failed runs</th></tr>\n";
  const uint64_t failed = station.runs(RunVerdict::kFailed);
  for (const Failure& failure : failures) {
    const std::string& phase = names.text(failure.phase);
    const double width = failed == 0 ? 0
                                     : std::min(100.0, 100 * static_cast<double>(failure.runs) /
                                                           static_cast<double>(failed));
    html += "<tr>" +
            cell(failure.measurement ? phase + ": " + names.text(*failure.measurement) : phase) +
            cell(std::to_string(failure.runs)) + "<td class=\"bar\" title=\"" +
            percentText(failure.runs, failed) +
            formatted("\"><div style=\"width:%.1f%%\"></div></td></tr>\n", width);
  }
  return html + "</table></div>\n";
}

/// Returns the measurement's histogram with a line at each limit.
std::string histogram(const MeasurementSummary& measurement, const Names& names) {
  constexpr double kWidth = 320;
  constexpr double kHeight = 120;
  const Statistics& values = measurement.statistics;
  const Histogram& bins = values.histogram();
  double first = values.minimum();
  double last = values.maximum();
  if (measurement.lower) first = std::min(first, *measurement.lower);
  if (measurement.upper) last = std::max(last, *measurement.upper);
  // Uses halves, because the range of the largest numbers overflows. A margin keeps everything off
  // the edge, also when all values are the same.
  double range = last / 2 - first / 2;
  if (range == 0) range = std::max(std::abs(first) / 2, 0.5);
  const auto x = [&](double value) {
    return (0.05 + 0.9 * std::clamp((value / 2 - first / 2) / range, 0.0, 1.0)) * kWidth;
  };
  const auto most = static_cast<double>(*std::ranges::max_element(bins.counts()));

  std::string svg = formatted("<svg viewBox=\"0 0 %g %g\" role=\"img\">", kWidth, kHeight);
  for (size_t bin = 0; bin < Histogram::kBins; ++bin) {
    if (bins.counts()[bin] == 0) continue;
    const double begin = bins.begin() + bins.width() * static_cast<double>(bin);
    const double height = kHeight * static_cast<double>(bins.counts()[bin]) / most;
    svg += formatted("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\"/>", x(begin),
                     kHeight - height, std::max(x(begin + bins.width()) - x(begin), 2.0), height);
  }
  for (const auto& limit : {measurement.lower, measurement.upper}) {
    if (!limit) continue;
    svg += formatted("<line x1=\"%.1f\" x2=\"%.1f\" y1=\"0\" y2=\"%g\"/>", x(*limit), x(*limit),
                     kHeight);
  }
  const std::string& unit = names.text(measurement.unitOfMeasure);
  return "<figure>" + svg + "</svg><figcaption>" +
         markupText(names.text(measurement.phase) + ": " + names.text(measurement.name) +
                    (unit.empty() ? "" : ", " + unit)) +
         "<br>" + std::to_string(values.count()) + " values, " + numberText(values.minimum()) +
         " to " + numberText(values.maximum()) + ", mean " + numberText(values.mean()) +
         ", deviation " + numberText(values.deviation()) + "<br>limits " +
         numberText(measurement.lower) + " to " + numberText(measurement.upper) + ", Cpk " +
         numberText(values.capability(measurement.lower, measurement.upper)) + ", outside " +
         std::to_string(measurement.outside) + "</figcaption></figure>\n";
}

}  // namespace

std::string summaryAsHtml(const Summary& summary, const Names& names) {
  std::string html = kHead + yields(summary, names);
  for (const StationSummary& station : summary.stations()) {
    html += "<h2>" + markupText(names.text(station.name())) + "</h2>\n" + failures(station, names);
    for (const MeasurementSummary& measurement : station.measurements()) {
      if (measurement.statistics.count() > 0) html += histogram(measurement, names);
    }
  }
  return html + "</body></html>\n";
}

}  // namespace corvane::tools
