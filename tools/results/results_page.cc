#include <algorithm>
#include <cmath>
#include <cstdio>

#include "platform/time_text.h"
#include "tools/html/markup.h"
#include "tools/html/page.h"
#include "tools/results/charts.h"
#include "tools/results/summary_view.h"

namespace corvane::tools {
namespace {

constexpr size_t kMaxCharts = 100;
constexpr size_t kMaxRows = 500;
/// Units that a row of what fails leads to.
constexpr size_t kMaxUnitLinks = 5;

/// Returns the text, or its beginning when it is long. A page has hundreds of them.
std::string shortText(const std::string& text) {
  constexpr size_t kMaxBytes = 120;
  if (text.size() <= kMaxBytes) return text;
  size_t end = kMaxBytes;
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "\u2026";
}

std::string paragraph(const std::string& text) { return "<p>" + markupText(text) + "</p>\n"; }

/// The sections of the page; ids tie a row to its chart and its runs.
class Page {
 public:
  Page(const Summary& summary, const Names& names, const ResultsSource& source)
      : _summary(summary), _names(names), _source(source) {}

  std::string yields() const {
    std::vector<std::string> titles = {"Station",   "First pass",   "Final",       "Units",
                                       "Runs",      "Failed",       "Unfinished",  "Refused",
                                       "Untrusted", "Runs an hour", "Median time", "95 %"};
    std::vector<HtmlRow> rows;
    for (const StationSummary& station : _summary.stations()) {
      const Yield& yield = station.yield();
      const Duration duration = station.duration();
      const bool hasYields = _source.hasYields;
      rows.push_back(
          {{headOf(station), hasYields ? percentText(yield.firstPassed, yield.firstUnits) : "-",
            hasYields ? percentText(yield.lastPassed, yield.units) : "-",
            hasYields ? std::to_string(yield.units) : "-", std::to_string(station.runs()),
            std::to_string(station.runs(Verdict::kFailed)),
            std::to_string(station.runs(Verdict::kIncomplete) + station.runs(Verdict::kUnfinished)),
            std::to_string(station.runs(Verdict::kRefused)),
            std::to_string(station.runs(Verdict::kUntrusted)), roundedText(station.runsPerHour()),
            secondsText(duration, duration.median), secondsText(duration, duration.percentile95)}});
    }
    return htmlTable("Yields", titles, rows, numbersAfter(1, titles.size(), "long"));
  }

  std::string failures() const {
    std::vector<HtmlRow> rows;
    size_t left = 0;
    for (const StationSummary& station : _summary.stations()) {
      const std::vector<Failure> failures = station.failures();
      uint64_t most = 0;
      for (const Failure& failure : failures) most = std::max(most, failure.runs);
      for (const Failure& failure : failures) {
        if (rows.size() == kMaxRows) {
          ++left;
          continue;
        }
        rows.push_back(
            {{headOf(station), nameOfFailure(station, failure), std::to_string(failure.runs),
              Html(percentText(failure.runs, station.testedRuns())) + bar(failure.runs, most),
              unitsOf(station, failure)}});
      }
    }
    if (rows.empty())
      return paragraph("No phase failed, and no measurement was outside its limits.");
    return htmlTable("What fails", {"Station", "Fails at", "Runs", "Of runs", "Newest units"}, rows,
                     {"long", "long", "number", "number", "line"}) +
           more(left);
  }

  std::string failedRuns() const {
    const auto& failed = _summary.failedRuns();
    if (failed.count() == 0) return paragraph("Every run that was not refused passed.");
    std::vector<HtmlRow> rows;
    for (const auto& [time, each] : failed.newest()) {
      const FailedRun& run = *each;
      std::string reason = shortText(run.reason);
      if (run.measurement) {
        std::string value = _names.text(run.measurement->name);
        value.append(": ").append(valueText(*run.measurement, _names));
        reason = shortText(value) + (reason.empty() ? "" : "; " + reason);
      }
      rows.push_back(
          {{run.unit.empty() ? "(unidentified)" : shortText(run.unit),
            localTimeText(time / 1000).value_or(run.timeText), std::string(nameOf(run.verdict)),
            run.hasPassedSince ? "passed" : "", shortText(_names.text(run.station)),
            shortText(_names.text(run.phase)), run.run, reason},
           "run-" + run.run});
    }
    return htmlTable("Units that did not pass",
                     {"Unit", "Time", "Verdict", "Since then", "Station", "Phase", "Run", "Reason"},
                     rows, {"long", "line", "", "", "long", "long", "code", "reason"}) +
           more(failed.count() - rows.size());
  }

  std::string times() const {
    std::string html;
    for (const StationSummary& station : _summary.stations()) {
      if (station.times().size() > 1)
        html += yieldChart(station.times(), titleOf(station), _summary.spanHours());
    }
    return html;
  }

  std::string measurements() const {
    std::vector<std::string> titles = {
        "Measurement", "Count", "Outside", "Mean", "Deviation", "Minimum",         "Maximum",
        "Limits",      "Cp",    "Cpk",     "Pp",   "Ppk",       "Values for these"};
    std::vector<HtmlRow> rows;
    size_t left = 0;
    for (const auto& [station, measurement] : _summary.measurements()) {
      if (rows.size() == kMaxRows) {
        ++left;
      } else {
        rows.push_back({rowOf(*station, *measurement)});
      }
    }
    if (rows.empty()) return paragraph("Nothing was measured.");
    std::vector<std::string> classes = numbersAfter(1, titles.size(), "long");
    return htmlTable("Measurements and checks", titles, rows, classes) + more(left);
  }

  std::string charts() const {
    std::string html;
    size_t count = 0;
    for (const StationSummary& station : _summary.stations()) {
      for (const MeasurementSummary* each : station.failingFirst()) {
        if (!hasChart(*each)) continue;
        if (++count > kMaxCharts) continue;
        html +=
            measurementChart(*each, idOf(station, *each), titleOf(station) + ", " + place(*each),
                             _names.text(each->unitOfMeasure), _summary.spanHours());
      }
    }
    return html + more(count > kMaxCharts ? count - kMaxCharts : 0);
  }

  std::string phases() const {
    std::vector<HtmlRow> rows;
    for (const StationSummary& station : _summary.stations()) {
      for (const PhaseSummary& phase : station.phases()) {
        if (rows.size() == kMaxRows) break;
        const Duration duration = durationOf(phase.seconds);
        rows.push_back(
            {{headOf(station), shortText(_names.text(phase.name)), std::to_string(phase.runs),
              std::to_string(phase.failedRuns), std::to_string(phase.repeatedAttempts),
              secondsText(duration, duration.median),
              secondsText(duration, duration.percentile95)}});
      }
    }
    if (rows.empty()) return "";
    return "<h2>Phases</h2>\n" +
           htmlTable("Phases", {"Station", "Phase", "Runs", "Failed", "Repeated", "Median", "95 %"},
                     rows, {"long", "long", "number", "number", "number", "number", "number"});
  }

  std::string history() const {
    std::string html;
    for (const auto& [time, run] : _summary.history().things()) {
      html += "<h3>" +
              markupText(run.timeText.substr(0, 19) + " " + shortText(run.unit) + ", " +
                         shortText(_names.text(run.station)) + ": " +
                         std::string(nameOf(run.verdict))) +
              "</h3>\n";
      if (!run.reason.empty()) html += paragraph(shortText(run.reason));
      std::vector<HtmlRow> rows;
      for (const PhaseResult& phase : run.phases) {
        rows.push_back({{shortText(_names.text(phase.name)), roundedText(phase.seconds) + " s",
                         std::string(nameOf(phase.verdict)), shortText(phase.reason)}});
      }
      for (const Measurement& each : run.measurements) {
        rows.push_back({{shortText(_names.text(each.phase) + ": " + _names.text(each.name)),
                         shortText(valueText(each, _names)),
                         each.isRepeated ? "repeated"
                         : each.isInside ? "inside"
                                         : "outside",
                         ""}});
      }
      html += htmlTable("Run " + run.id, {"Phase or measurement", "Value", "Result", "Reason"},
                        rows, {"long", "long", "", ""});
    }
    return html;
  }

  std::string about(const std::string& madeAt) const {
    std::string sources;
    for (const std::string& path : _source.paths) sources += (sources.empty() ? "" : ", ") + path;
    std::vector<HtmlRow> rows = {{{"Made at", madeAt}},
                                 {{"From", shortText(sources)}},
                                 {{"Files read", std::to_string(_source.files)}}};
    std::string filters;
    for (const std::string& filter : _source.filters)
      filters += (filters.empty() ? "" : ", ") + filter;
    rows.push_back({{"Runs chosen by", filters.empty() ? "nothing: all of them" : filters}});
    WallClock clock;
    if (const auto period = _summary.period()) {
      rows.push_back({{"First run", wallTimeText(clock.hourAt(period->first))}});
      rows.push_back({{"Last run", wallTimeText(clock.hourAt(period->second))}});
    }
    for (const std::string& text : leftOut(_source)) {
      const size_t colon = text.rfind(": ");
      rows.push_back({{text.substr(0, colon), text.substr(colon + 2)}});
    }
    return htmlTable("About this page", {"What", "Value"}, rows);
  }

 private:
  std::string titleOf(const StationSummary& station) const {
    const std::string name = shortText(_names.text(station.name()));
    return _summary.groupBy() ? name + ", " + shortText(_summary.groupName(station.group())) : name;
  }
  Html headOf(const StationSummary& station) const { return titleOf(station); }

  std::string place(const MeasurementSummary& measurement) const {
    return shortText(_names.text(measurement.phase) + ": " + nameText(measurement, _names));
  }

  std::vector<Html> rowOf(const StationSummary& station,
                          const MeasurementSummary& measurement) const {
    const Statistics& values = measurement.statistics;
    const Capability shortTerm =
        values.capability(values.neighboursDeviation(), measurement.lower, measurement.upper);
    const Capability overall =
        values.capability(values.deviation(), measurement.lower, measurement.upper);
    const bool hasValues = values.count() > 0;
    const Html name = titleOf(station) + ", " + place(measurement);
    return {hasChart(measurement) ? linkTo(idOf(station, measurement), name) : name,
            std::to_string(measurement.count),
            std::to_string(measurement.outside),
            meanText(values),
            roundedText(values.deviation()),
            hasValues ? numberText(values.minimum()) : "-",
            hasValues ? numberText(values.maximum()) : "-",
            limitsText(measurement),
            roundedText(shortTerm.potential),
            roundedText(shortTerm.actual),
            roundedText(overall.potential),
            roundedText(overall.actual),
            std::to_string(values.count())};
  }

  bool hasChart(const MeasurementSummary& measurement) const {
    return !_summary.groupBy() && measurement.statistics.count() > 0;
  }

  std::string idOf(const StationSummary& station, const MeasurementSummary& measurement) const {
    size_t number = 0;
    while (&station.measurements()[number] != &measurement) ++number;
    return "chart-" + std::to_string(station.name()) + "-" + std::to_string(number);
  }

  Html nameOfFailure(const StationSummary& station, const Failure& failure) const {
    const std::string phase = _names.text(failure.phase);
    if (!failure.measurement) return shortText(phase);
    Html name = shortText(phase + ": " + _names.text(*failure.measurement));
    for (const MeasurementSummary* each : station.failingFirst()) {
      if (each->phase == failure.phase && each->name == *failure.measurement && hasChart(*each)) {
        return linkTo(idOf(station, *each), name);
      }
    }
    return name;
  }

  /// Returns links to the newest of the listed runs that failed in this way.
  Html unitsOf(const StationSummary& station, const Failure& failure) const {
    Html links;
    size_t count = 0;
    for (const auto& [time, each] : _summary.failedRuns().newest()) {
      const FailedRun& run = *each;
      const bool isSame = run.station == station.name() && run.group == station.group() &&
                          run.phase == failure.phase &&
                          (!failure.measurement ||
                           (run.measurement && run.measurement->name == *failure.measurement));
      if (!isSame) continue;
      if (count++ == kMaxUnitLinks) break;
      links += linkTo("run-" + run.run, run.unit.empty() ? "(unidentified)" : shortText(run.unit));
      links += Html(" ");
    }
    return links;
  }

  static Html bar(uint64_t part, uint64_t whole) {
    const double width =
        whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
    char text[64];
    std::snprintf(text, sizeof text, "<span class=\"bar\" style=\"width:%.1f%%\"></span>", width);
    return Html::raw(text);
  }

  static std::string secondsText(const Duration& duration, float seconds) {
    return duration.count == 0 ? "-" : roundedText(seconds) + " s";
  }

  static std::vector<std::string> numbersAfter(size_t first, size_t columns,
                                               const std::string& style) {
    std::vector<std::string> classes(columns, "number");
    std::fill_n(classes.begin(), first, style);
    return classes;
  }

  static std::string more(uint64_t count) {
    return count == 0 ? "" : paragraph("... and " + std::to_string(count) + " more");
  }

  const Summary& _summary;
  const Names& _names;
  const ResultsSource& _source;
};

}  // namespace

std::string summaryAsHtml(const Summary& summary, const Names& names, const ResultsSource& source,
                          const std::string& madeAt) {
  const Page page(summary, names, source);
  std::string html = page.yields();
  for (const std::string& text : leftOut(source)) {
    html += "<p><strong>" + markupText(text) + "</strong></p>\n";
  }
  if (summary.history().count() > 0) html += "<h2>Runs on the unit</h2>\n" + page.history();
  html += "<h2>What fails</h2>\n" + page.failures() + "<h2>Units that did not pass</h2>\n" +
          page.failedRuns();
  if (source.hasYields && !summary.groupBy()) html += "<h2>Yields over time</h2>\n" + page.times();
  html += "<h2>Measurements and checks</h2>\n" + page.measurements() + page.charts() +
          page.phases() + "<h2>About this page</h2>\n" + page.about(madeAt);
  return htmlPage("Results", html);
}

}  // namespace corvane::tools
