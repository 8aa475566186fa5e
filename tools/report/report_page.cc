#include "tools/report/report_page.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "platform/number.h"
#include "tools/documents/unit_document.h"
#include "tools/html/markup.h"
#include "tools/html/page.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

std::string section(const std::string& title, const std::string& content) {
  return "<section>\n<h3>" + markupText(title) + "</h3>\n" + content + "</section>\n";
}

std::string paragraph(const std::string& text) { return "<p>" + markupText(text) + "</p>\n"; }

/// Returns markup that may be wider than the page; `label` names it to those who hear it.
std::string wide(const std::string& label, const std::string& style, const std::string& content) {
  return "<div class=\"wide " + style + "\" role=\"group\" tabindex=\"0\" aria-label=\"" +
         markupText(label) + "\">" + content + "</div>\n";
}

/// Returns a section with the table, or with the text in its place when it has no rows.
std::string section(const std::string& title, const std::string& before, const Table& table,
                    const std::string& textForNone) {
  return section(title,
                 before + (table.isEmpty() ? paragraph(textForNone) : htmlTable(title, table)));
}

std::string textOf(const nlohmann::ordered_json& value) {
  if (value.is_null()) return "(none)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>();
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string factsSection(const UnitImage& image) {
  if (image.kind != ImageKind::kUnit) {
    const auto& [path, contents] = *image.files.begin();
    return section("What it is", paragraph("A dump of " + path + ", " +
                                           std::to_string(contents.size()) + " bytes."));
  }
  const nlohmann::ordered_json facts = factsOf(image);
  Table table({{"FACT"}, {"VALUE"}});
  for (const auto& [key, title] : {std::pair("model", "Model"),
                                   {"build", "Build"},
                                   {"battery", "Battery, current capacity"},
                                   {"batteryMax", "Battery, maximum capacity"},
                                   {"externalPower", "External power"},
                                   {"radio", "Wi-Fi radio"},
                                   {"powerSource", "Power source"},
                                   {"dataArea", "Data area"},
                                   {"nvram", "NVRAM"}}) {
    table.addRow({title, textOf(facts[key])});
  }
  return section("What it is", "", table, "");
}

std::string cellOf(size_t offset, uint8_t byte) {
  const char mark = markOf(offset, byte);
  const bool isWritten = mark != kUnwrittenMark;
  const char* style = "nottested";
  if (!isWritten) style = "unwritten";
  if (mark == kMaybePoisonMark || mark == 'F') style = "failed";
  if (mark == 'P' || mark == 'C') style = "passed";
  if (mark == 'I') style = "incomplete";
  return std::string("<td class=\"") + style + "\" title=\"offset " + std::to_string(offset) +
         ": " + hexNumber(byte, 2) + ", " +
         (isWritten ? unit::byteText(offset, byte) : "not written") + "\">" +
         (isWritten ? std::string(1, mark) : "\u00b7") + "</td>";
}

std::string statusGrid(std::span<const uint8_t> bytes) {
  constexpr size_t kColumns = 16;
  std::string html = "<table class=\"grid\"><thead><tr><td></td>";
  for (size_t column = 0; column < kColumns; ++column) {
    html += "<th scope=\"col\">" + std::to_string(column) + "</th>";
  }
  html += "</tr></thead><tbody>";
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (at % kColumns == 0) html += "\n<tr><th scope=\"row\">" + std::to_string(at) + "</th>";
    html += cellOf(at, bytes[at]);
  }
  return html +
         "</tbody></table>\n<p class=\"legend\">P passed, F failed, ! failed, or poisoned, "
         "I incomplete, N not tested, C log collection complete, \u00b7 not written. The offset is "
         "the row's number plus the column's.</p>\n";
}

std::string diagnosticSections(const ReportSubject& subject) {
  if (!subject.diagnosticData) return "";
  const DiagnosticReport& report = *subject.diagnosticData->diagnosticData;
  const std::span contents = *subject.image.file(kDiagnosticDataFile);
  const std::span bytes = contents.first(std::min<size_t>(contents.size(), kFirstRecordOffset));
  return section("Control-bit bytes", statusGrid(bytes), controlBitTable(report.controlBits),
                 "No station has written one.") +
         section("Records", "", recordTable(report.records), "No station has left one.");
}

std::string configurationSection(const ReportSubject& subject) {
  if (!subject.configuration) return "";
  constexpr size_t kValueWidth = 120;
  const AreaReport& report = *subject.configuration->area;
  std::ostringstream map;
  printMap(map, report, false);
  return section("Configuration area",
                 wide("Map of the configuration area", "", "<pre>" + map.str() + "</pre>"),
                 entryTable(report, kValueWidth), "It has no keys.");
}

std::string findingsSection(const ReportSubject& subject) {
  Table table(
      {{"DATA SET"}, {"OFFSET", Align::kRight}, {"BYTES", Align::kRight}, {"WHAT IS WRONG"}});
  for (const auto& [dump, name] : {std::pair(&subject.diagnosticData, "control bits, records"),
                                   std::pair(&subject.configuration, "configuration area")}) {
    if (!*dump) continue;
    for (const auto& [offset, length, reason] : (*dump)->findings()) {
      table.addRow({name, std::to_string(offset), std::to_string(length), reason});
    }
  }
  return section("Findings", "", table, "No damage was found in the data sets.");
}

std::string bootArgumentsSection(const UnitImage& image) {
  if (image.kind != ImageKind::kUnit) return "";
  const Bytes* file = image.file(kNvramFile);
  const auto variables = file ? propertiesAsJson(*file) : nlohmann::ordered_json();
  Table table({{"VARIABLE"}, {"VALUE"}});
  if (variables.is_object()) {
    for (const auto& [name, value] : variables.items()) table.addRow({name, textOf(value)});
  }
  return section("Boot arguments", "", table, "The unit has no NVRAM variables.");
}

/// Returns the end of the test log.
std::string logSection(const UnitImage& image) {
  constexpr std::ptrdiff_t kMaxLines = 5000;
  const Bytes* log = image.file(kTestLogFile);
  if (!log || log->empty()) return "";
  const std::ptrdiff_t count = std::ranges::count(*log, '\n');
  std::istringstream lines({log->begin(), log->end()});
  std::string shown;
  std::ptrdiff_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    if (number++ >= count - kMaxLines) shown += markupText(line) + "\n";
  }
  const std::string note = "Of " + std::to_string(count) + " lines the last " +
                           std::to_string(kMaxLines) + " are shown.";
  return section("Test log", (count > kMaxLines ? paragraph(note) : "") +
                                 wide("Test log", "log", "<pre>" + shown + "</pre>"));
}

std::string verdictBox(const UnitVerdict& verdict) {
  constexpr const char* kStyles[] = {"good", "open", "bad"};
  std::string html = std::string("<div class=\"verdict ") +
                     kStyles[static_cast<int>(verdict.level)] + "\"><strong>" +
                     markupText(verdict.headline) + "</strong>\n";
  for (const std::string& detail : verdict.details) html += paragraph(detail);
  return html + "</div>\n";
}

}  // namespace

std::string reportPage(const std::vector<ReportSubject>& subjects, const std::string& chartSvg) {
  std::string list, articles;
  for (const ReportSubject& subject : subjects) {
    const UnitVerdict verdict = verdictOn(subject);
    const std::string id = "subject-" + std::to_string(&subject - subjects.data());
    list += "<li>" + linkTo(id, subject.name).markup() + ": " + markupText(verdict.headline) +
            "</li>\n";
    articles += "<article id=\"" + id + "\">\n<h2>" + markupText(subject.name) + "</h2>\n" +
                verdictBox(verdict) + factsSection(subject.image) + diagnosticSections(subject) +
                configurationSection(subject) + findingsSection(subject) +
                bootArgumentsSection(subject.image) + logSection(subject.image) + "</article>\n";
  }
  std::string html = subjects.size() > 1 ? "<nav><ul>\n" + list + "</ul></nav>\n" : "";
  html += articles;
  if (!chartSvg.empty()) {
    html += "<section>\n<h2>Processor use</h2>\n" + wide("Processor use", "plot", chartSvg) +
            "</section>\n";
  }
  return htmlPage("Unit report", html);
}

}  // namespace corvane::tools
