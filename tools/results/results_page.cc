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

/// Returns the cells for people as `value.text`, those of what the row is about as one.
Cells shownOf(const Cells& cells) {
  Cells shown = {{"", {}, "", Style::kPlace}};
  for (const Cell& cell : cells) {
    if (cell.title.empty()) continue;
    const std::string text = shortText(cell.text());
    if (cell.style != Style::kPlace) {
      shown.push_back({"", {nullptr, text}, cell.title, cell.style, cell.runs});
      continue;
    }
    std::string& place = shown[0].value.text;
    if (!text.empty()) place += (place.empty() ? "" : " / ") + text;
    shown[0].title += (shown[0].title.empty() ? "" : " / ") + cell.title;
  }
  return shown;
}

/// The ids of the charts to which rows about the measurements lead.
using ChartIds = std::unordered_map<const MeasurementSummary*, std::string>;

std::string htmlOf(const SummaryTable& table, const ChartIds& charts) {
  std::vector<std::string> titles, classes;
  for (const Cell& cell : shownOf(table.rows[0].cells)) {
    titles.push_back(cell.title);
    classes.emplace_back(classOf(cell.style));
  }
  std::vector<HtmlRow> rows;
  for (const TableRow& row : table.rows) {
    if (rows.size() == kMaxRows) break;
    HtmlRow& html = rows.emplace_back();
    if (!row.run.empty()) html.id = "run-" + row.run;
    for (const Cell& cell : shownOf(row.cells)) {
      Html& content = html.cells.emplace_back();
      for (const auto& [id, unit] : cell.runs)
        content += linkTo("run-" + id, shortText(unit)) + " ";
      if (cell.runs.empty()) content += cell.value.text;
    }
    const auto chart = charts.find(row.measurement);
    if (chart != charts.end()) html.cells[0] = linkTo(chart->second, html.cells[0]);
  }
  return htmlTable(std::string(table.title), titles, rows, classes) +
         more(table.rows.size() - rows.size() + table.left);
}

std::string measurementCharts(const Results& results, ChartIds& ids) {
  std::string charts;
  uint64_t count = 0;
  for (const TableRow& row : tableOf(TableKind::kMeasurements, results).rows) {
    if (row.measurement->values.count() == 0 || ++count > kMaxCharts) continue;
    const std::string& id = ids[row.measurement] = "chart-" + std::to_string(count);
    charts += measurementChart(*row.measurement, id, shownOf(row.cells)[0].value.text,
                               results.summary.spanHours);
  }
  return charts + (count > kMaxCharts ? more(count - kMaxCharts) : "");
}

std::string yieldCharts(const Results& results) {
  std::string charts;
  for (const StationSummary& station : results.summary.stations) {
    if (!results.source.hasYields || station.times.size() < 2) continue;
    charts += yieldChart(station.times, shortText(results.names.text(station.name)),
                         results.summary.spanHours);
  }
  return charts.empty() ? "" : "<h2>Yields over time</h2>\n" + charts;
}

std::string inOneLine(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

std::string aboutThisPage(const Results& results, const std::string& madeAt) {
  const ResultsSource& source = results.source;
  const std::string filters =
      source.filters.empty() ? "nothing: all of them" : inOneLine(source.filters);
  std::vector<HtmlRow> rows = {{{"Made at", madeAt}},
                               {{"From", shortText(inOneLine(source.paths))}},
                               {{"Files read", std::to_string(source.files)}},
                               {{"Runs chosen by", filters}}};
  const auto addTime = [&](const char* what, int64_t time) {
    if (results.summary.runs == 0) return;
    rows.push_back({{what, localTimeText(time / 1000).value_or("(no time)")}});
  };
  addTime("First run", results.summary.firstTime);
  addTime("Last run", results.summary.lastTime);
  return "<h2>About this page</h2>\n" + htmlTable("About this page", {"What", "Value"}, rows);
}

}  // namespace

std::string summaryAsHtml(const Results& results, const std::string& madeAt) {
  const bool hasGroups = results.summary.groupBy.has_value();
  ChartIds ids;
  const std::string charts = hasGroups ? "" : measurementCharts(results, ids);
  // Returns the table with its heading; `ifEmpty` in its place when it has no rows.
  const auto section = [&](TableKind kind, const std::string& ifEmpty = "") {
    const SummaryTable table = tableOf(kind, results);
    if (table.rows.empty() && ifEmpty.empty()) return std::string();
    return "<h2>" + markupText(table.title) + "</h2>\n" +
           (table.rows.empty() ? paragraph(ifEmpty) : htmlOf(table, ids));
  };
  std::string html = section(TableKind::kYields, "There is no run.");
  for (const Cell& left : leftOut(results.source)) {
    if (left.value.data == 0) continue;
    html += "<p><strong>" + markupText(left.title + ": " + left.text()) + "</strong></p>\n";
  }
  html +=
      section(TableKind::kHistory) +
      section(TableKind::kFailures, "No phase failed, and no measurement was outside its limits.") +
      section(TableKind::kFailedRuns, "Every run that was not refused passed.") +
      (hasGroups ? section(TableKind::kTimes) : yieldCharts(results)) +
      section(TableKind::kMeasurements, "Nothing was measured.") + charts +
      section(TableKind::kPhases) + aboutThisPage(results, madeAt);
  return htmlPage("Results", html);
}

}  // namespace corvane::tools
