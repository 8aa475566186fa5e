#include <algorithm>
#include <unordered_map>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/html/html.h"
#include "tools/results/results_output.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

constexpr size_t kMaxCharts = 100;
constexpr size_t kMaxRows = 500;

/// Returns the text, or its beginning when it is long. A page has hundreds of them.
std::string shortText(const std::string& text) { return shortened(printable(text), 120); }

std::string more(uint64_t count) {
  return count == 0 ? "" : paragraph("... and " + std::to_string(count) + " more");
}

const char* classOf(Style style) {
  constexpr std::array kClasses = {"long", "long", "value", "line", "number"};
  return kClasses[static_cast<size_t>(style)];
}

/// Returns what the row is about.
std::string placeOf(const TableRow& row) {
  std::string place;
  for (const Cell& cell : row.cells) {
    const std::string text = cell.style == Style::kPlace ? shortText(cell.text()) : "";
    if (!text.empty()) place += (place.empty() ? "" : " / ") + text;
  }
  return place;
}

/// The sections of the page. Links lead from what fails to its chart and its runs.
class Page {
 public:
  explicit Page(const Results& results) : _results(results) {
    if (results.summary.groupBy) return;
    uint64_t count = 0;
    for (const TableRow& row : tableOf(TableKind::kMeasurements, results).rows) {
      if (row.measurement->values.count() == 0 || ++count > kMaxCharts) continue;
      const std::string id = "chart-" + std::to_string(count);
      _chartOf.emplace(row.measurement, id);
      charts += measurementChart(*row.measurement, id, placeOf(row), results.summary.spanHours);
    }
    if (count > kMaxCharts) charts += more(count - kMaxCharts);
  }

  std::string charts;

  /// Returns the table with its heading; `ifEmpty` in its place when it has no rows.
  std::string section(TableKind kind, const std::string& ifEmpty = "") const {
    const SummaryTable table = tableOf(kind, _results);
    const std::string heading = "<h2>" + markupText(table.title) + "</h2>\n";
    if (!table.rows.empty()) return heading + htmlOf(kind, table);
    return ifEmpty.empty() ? "" : heading + paragraph(ifEmpty);
  }

  /// Returns the charts of the yields over time, or with groups a table.
  std::string times() const {
    if (_results.summary.groupBy) return section(TableKind::kTimes);
    std::string html;
    for (const StationSummary& station : _results.summary.stations) {
      if (!_results.source.hasYields || station.times.size() < 2) continue;
      html += yieldChart(station.times, shortText(_results.names.text(station.name)),
                         _results.summary.spanHours);
    }
    return html.empty() ? "" : "<h2>Yields over time</h2>\n" + html;
  }

  std::string about(const std::string& madeAt) const {
    const ResultsSource& source = _results.source;
    const auto joined = [](const std::vector<std::string>& texts) {
      std::string all;
      for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
      return all;
    };
    std::vector<HtmlRow> rows = {
        {{"Made at", madeAt}},
        {{"From", shortText(joined(source.paths))}},
        {{"Files read", std::to_string(source.files)}},
        {{"Runs chosen by",
          source.filters.empty() ? "nothing: all of them" : joined(source.filters)}}};
    const auto addTime = [&](const char* what, int64_t time) {
      if (_results.summary.runs == 0) return;
      rows.push_back({{what, localTimeText(time / 1000).value_or("(no time)")}});
    };
    addTime("First run", _results.summary.firstTime);
    addTime("Last run", _results.summary.lastTime);
    return "<h2>About this page</h2>\n" + htmlTable("About this page", {"What", "Value"}, rows);
  }

 private:
  std::string htmlOf(TableKind kind, const SummaryTable& table) const {
    std::vector<std::string> titles = {""}, classes = {classOf(Style::kPlace)};
    for (const Cell& cell : table.rows[0].cells) {
      if (cell.title.empty()) continue;
      if (cell.style == Style::kPlace) {
        titles[0] += (titles[0].empty() ? "" : " / ") + cell.title;
      } else {
        titles.push_back(cell.title);
        classes.emplace_back(classOf(cell.style));
      }
    }
    if (kind == TableKind::kFailures) {
      titles.emplace_back("Newest units");
      classes.emplace_back(classOf(Style::kLine));
    }
    const size_t count = std::min(kMaxRows, table.rows.size());
    std::vector<HtmlRow> rows;
    for (size_t i = 0; i < count; ++i) {
      rows.push_back(rowOf(table.rows[i]));
      if (kind == TableKind::kFailures) rows.back().cells.push_back(unitsOf(table.rows[i]));
    }
    return htmlTable(std::string(table.title), titles, rows, classes) +
           more(table.rows.size() - count + table.left);
  }

  /// Returns the row, with what it is about in one cell.
  HtmlRow rowOf(const TableRow& row) const {
    const std::string place = placeOf(row);
    const auto chart = _chartOf.find(row.measurement);
    HtmlRow html{{chart == _chartOf.end() ? Html(place) : linkTo(chart->second, place)},
                 row.run.empty() ? "" : "run-" + row.run};
    for (const Cell& cell : row.cells) {
      if (cell.title.empty() || cell.style == Style::kPlace) continue;
      html.cells.emplace_back(shortText(cell.text()));
    }
    return html;
  }

  static Html unitsOf(const TableRow& row) {
    Html links;
    for (const FailedRun* run : row.failed) {
      links +=
          linkTo("run-" + run->id, run->unit.empty() ? "(unidentified)" : shortText(run->unit));
      links += " ";
    }
    return links;
  }

  const Results& _results;
  std::unordered_map<const MeasurementSummary*, std::string> _chartOf;
};

}  // namespace

std::string summaryAsHtml(const Results& results, const std::string& madeAt) {
  const Page page(results);
  std::string html = page.section(TableKind::kYields, "There is no run.");
  for (const auto& [text, count] : leftOut(results.source)) {
    html += "<p><strong>" + markupText(text + ": " + std::to_string(count)) + "</strong></p>\n";
  }
  html += page.section(TableKind::kHistory) +
          page.section(TableKind::kFailures,
                       "No phase failed, and no measurement was outside its limits.") +
          page.section(TableKind::kFailedRuns, "Every run that was not refused passed.") +
          page.times() + page.section(TableKind::kMeasurements, "Nothing was measured.") +
          page.charts + page.section(TableKind::kPhases) + page.about(madeAt);
  return htmlPage("Results", html);
}

}  // namespace corvane::tools
