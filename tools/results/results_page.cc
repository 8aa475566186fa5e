#include <algorithm>
#include <cstdio>
#include <unordered_map>

#include "tools/html/markup.h"
#include "tools/html/page.h"
#include "tools/results/charts.h"
#include "tools/results/summary_tables.h"
#include "tools/results/summary_text.h"

namespace corvane::tools {
namespace {

constexpr size_t kMaxCharts = 100;
constexpr size_t kMaxRows = 500;

/// Returns the text, or its beginning when it is long. A page has hundreds of them.
std::string shortText(const std::string& text) {
  constexpr size_t kMaxBytes = 120;
  if (text.size() <= kMaxBytes) return text;
  size_t end = kMaxBytes;
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "\u2026";
}

std::string paragraph(const std::string& text) { return "<p>" + markupText(text) + "</p>\n"; }

std::string more(uint64_t count) {
  return count == 0 ? "" : paragraph("... and " + std::to_string(count) + " more");
}

const char* classOf(Style style) {
  constexpr std::array kClasses = {"long", "long", "reason", "line", "code", "number", "number"};
  return kClasses[static_cast<size_t>(style)];
}

double shareOf(const Cell& cell) {
  const auto* const share = cell.value.data.get_ptr<const double*>();
  return cell.style == Style::kShare && share ? *share : 0;
}

Html bar(double part, double whole) {
  char text[64];
  std::snprintf(text, sizeof text, "<span class=\"bar\" style=\"width:%.1f%%\"></span>",
                whole > 0 ? 100 * part / whole : 0);
  return Html::raw(text);
}

/// The sections of the page. Links lead from what fails to its chart and its runs.
class Page {
 public:
  explicit Page(const Results& results) : _results(results) {
    for (const auto& [station, each] : results.summary.measurements()) {
      if (results.summary.groupBy() || each->statistics.count() == 0) continue;
      if (++_charts > kMaxCharts) continue;
      const std::string id = "chart-" + std::to_string(_charts);
      _chartOf.emplace(each, id);
      const std::string title =
          shortText(_results.names.text(station->name())) + " / " +
          shortText(_results.names.text(each->phase) + " / " + nameText(*each, _results.names));
      _chartsHtml += measurementChart(*each, id, title, results.summary.spanHours());
    }
  }

  /// Returns the table with its heading; `ifEmpty` in its place when it has no rows.
  std::string section(TableKind kind, const std::string& ifEmpty = "") const {
    const SummaryTable table = tableOf(kind, _results);
    const std::string heading = "<h2>" + markupText(titleOf(kind)) + "</h2>\n";
    if (!table.rows.empty()) return heading + htmlOf(kind, table);
    return ifEmpty.empty() ? "" : heading + paragraph(ifEmpty);
  }

  std::string charts() const {
    return _chartsHtml + more(_charts > kMaxCharts ? _charts - kMaxCharts : 0);
  }

  /// Returns the charts of the yields over time, or with groups a table.
  std::string times() const {
    if (_results.summary.groupBy()) return section(TableKind::kTimes);
    std::string html;
    for (const StationSummary& station : _results.summary.stations()) {
      if (!_results.source.hasYields || station.times().size() < 2) continue;
      html += yieldChart(station.times(), shortText(_results.names.text(station.name())),
                         _results.summary.spanHours());
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
    if (const auto period = _results.summary.period()) {
      WallClock clock;
      rows.push_back({{"First run", wallTimeText(clock.hourAt(period->first))}});
      rows.push_back({{"Last run", wallTimeText(clock.hourAt(period->second))}});
    }
    for (const auto& [text, count] : leftOut(source)) {
      rows.push_back({{text, std::to_string(count)}});
    }
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
    double mostShare = 0;
    for (const TableRow& row : table.rows) {
      for (const Cell& cell : row.cells) mostShare = std::max(mostShare, shareOf(cell));
    }
    const size_t count = std::min(kMaxRows, table.rows.size());
    std::vector<HtmlRow> rows;
    for (size_t i = 0; i < count; ++i) {
      rows.push_back(rowOf(table.rows[i], mostShare));
      if (kind == TableKind::kFailures) rows.back().cells.push_back(unitsOf(table.rows[i]));
    }
    return htmlTable(titleOf(kind), titles, rows, classes) +
           more(table.rows.size() - count + table.left);
  }

  /// Returns the row, with what it is about in one cell.
  HtmlRow rowOf(const TableRow& row, double mostShare) const {
    std::string place;
    HtmlRow html{{Html()}, row.run.empty() ? "" : "run-" + row.run};
    for (const Cell& cell : row.cells) {
      if (cell.title.empty()) continue;
      const std::string text = shortText(cell.text());
      if (cell.style == Style::kPlace) {
        place += (place.empty() || text.empty() ? "" : " / ") + text;
      } else {
        html.cells.emplace_back(text);
        if (cell.style == Style::kShare) html.cells.back() += bar(shareOf(cell), mostShare);
      }
    }
    const auto chart = _chartOf.find(row.measurement);
    html.cells[0] = chart == _chartOf.end() ? Html(place) : linkTo(chart->second, place);
    return html;
  }

  static Html unitsOf(const TableRow& row) {
    Html links;
    for (const FailedRun* run : row.failed) {
      links +=
          linkTo("run-" + run->run, run->unit.empty() ? "(unidentified)" : shortText(run->unit));
      links += " ";
    }
    return links;
  }

  const Results& _results;
  size_t _charts = 0;
  std::unordered_map<const MeasurementSummary*, std::string> _chartOf;
  std::string _chartsHtml;
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
          page.charts() + page.section(TableKind::kPhases) + page.about(madeAt);
  return htmlPage("Results", html);
}

}  // namespace corvane::tools
