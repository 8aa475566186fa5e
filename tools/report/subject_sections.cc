#include "tools/report/subject_sections.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "platform/time_text.h"
#include "tools/control_bit_text.h"
#include "tools/documents/unit_document.h"
#include "tools/html/markup.h"
#include "tools/html/page.h"
#include "tools/inspect/area_view.h"
#include "tools/inspect/value_text.h"
#include "tools/log/log_line.h"

namespace corvane::tools {
namespace {

using Row = HtmlRow;

std::string section(const std::string& title, const std::string& content) {
  return content.empty()
             ? ""
             : "<section>\n<h3>" + markupText(title) + "</h3>\n" + content + "</section>\n";
}

std::string paragraph(const std::string& text) { return "<p>" + markupText(text) + "</p>\n"; }

std::string textOf(const nlohmann::ordered_json& value) {
  if (value.is_null()) return "(none)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>();
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string cellOf(size_t offset, uint8_t byte) {
  const char mark = markOf(offset, byte);
  const std::string text = "offset " + std::to_string(offset) + ": " + hexNumber(byte, 2) + ", " +
                           (mark == kUnwrittenMark ? "not written" : unit::byteText(offset, byte));
  const char* style = "nottested";
  if (mark == kUnwrittenMark) style = "unwritten";
  if (mark == kMaybePoisonMark || mark == 'F') style = "failed";
  if (mark == 'P' || mark == 'C') style = "passed";
  if (mark == 'I') style = "incomplete";
  return std::string("<td class=\"") + style + "\" title=\"" + markupText(text) + "\">" +
         (mark == kUnwrittenMark ? "\u00b7" : std::string(1, mark)) + "</td>";
}

std::string statusGrid(std::span<const uint8_t> bytes) {
  constexpr size_t kColumns = 16;
  std::string html = "<table class=\"grid\"><thead><tr><td></td>";
  for (size_t column = 0; column < kColumns; ++column) {
    html += "<th scope=\"col\">" + std::to_string(column) + "</th>";
  }
  html += "</tr></thead><tbody>\n";
  for (size_t row = 0; row < bytes.size(); row += kColumns) {
    html += "<tr><th scope=\"row\">" + std::to_string(row) + "</th>";
    for (size_t at = row; at < std::min(row + kColumns, bytes.size()); ++at) {
      html += cellOf(at, bytes[at]);
    }
    html += "</tr>\n";
  }
  return html +
         "</tbody></table>\n<p class=\"legend\">P passed, F failed, ! failed, or poisoned, "
         "I incomplete, N not tested, C log collection complete, \u00b7 not written. The offset is "
         "the row's number plus the "
         "column's.</p>\n";
}

/// Returns the time from one record to the next: "after 2 h 5 min".
std::string elapsedText(int64_t seconds) {
  if (seconds < 0) return "before the record above it";
  const auto part = [](int64_t number, const char* unit) {
    return std::to_string(number) + " " + unit;
  };
  if (seconds < 60) return "after " + part(seconds, "s");
  if (seconds < 3600) return "after " + part(seconds / 60, "min");
  if (seconds < 86400)
    return "after " + part(seconds / 3600, "h ") + part(seconds / 60 % 60, "min");
  return "after " + part(seconds / 86400, "d ") + part(seconds / 3600 % 24, "h");
}

/// Returns the map as a picture: one row of 64 marks for each KiB.
std::string areaPicture(const AreaReport& report, std::span<const uint8_t> area) {
  constexpr size_t kColumns = 64, kBytesPerMark = 16, kHeight = 3;
  const std::vector<const AreaPart*> marks = mapOfArea(report, area, kBytesPerMark);
  const size_t rows = (marks.size() + kColumns - 1) / kColumns;
  std::string svg =
      "<svg class=\"map\" role=\"img\" aria-label=\"map of the configuration area\" "
      "viewBox=\"0 0 64 " +
      std::to_string(rows * kHeight) + "\">\n";
  for (size_t at = 0; at < marks.size();) {
    // A run of one part within a row.
    size_t end = at + 1;
    while (end < marks.size() && end % kColumns != 0 && marks[end] == marks[at]) ++end;
    const std::string title = std::string(marks[at]->name) + ", bytes " +
                              std::to_string(at * kBytesPerMark) + " to " +
                              std::to_string(std::min(end * kBytesPerMark, area.size()) - 1);
    const auto part = std::ranges::find(areaParts(), marks[at]) - areaParts().begin();
    svg += "<rect class=\"part" + std::to_string(part) + "\" x=\"" + std::to_string(at % kColumns) +
           "\" y=\"" + std::to_string(at / kColumns * kHeight) + "\" width=\"" +
           std::to_string(end - at) + "\" height=\"" + std::to_string(kHeight) + "\"><title>" +
           markupText(title) + "</title></rect>\n";
    at = end;
  }
  svg += "</svg>\n<ul class=\"parts\">";
  for (size_t part = 0; part < areaParts().size(); ++part) {
    const std::string style = "part" + std::to_string(part);
    svg += "<li><svg class=\"key\" viewBox=\"0 0 1 1\" aria-hidden=\"true\"><rect class=\"" +
           style + "\" width=\"1\" height=\"1\"/></svg> " + markupText(areaParts()[part]->name) +
           "</li>";
  }
  return svg + "</ul>\n";
}

}  // namespace

std::string factsSection(const ReportSubject& subject) {
  if (subject.image.kind != ImageKind::kUnit) {
    const auto& [path, contents] = *subject.image.files.begin();
    return section("What it is", paragraph("A dump of " + path + ", " +
                                           std::to_string(contents.size()) + " bytes."));
  }
  const nlohmann::ordered_json facts = factsOf(subject.image);
  const std::pair<const char*, const char*> names[] = {{"model", "Model"},
                                                       {"build", "Build"},
                                                       {"battery", "Battery, current capacity"},
                                                       {"batteryMax", "Battery, maximum capacity"},
                                                       {"externalPower", "External power"},
                                                       {"radio", "Wi-Fi radio"},
                                                       {"powerSource", "Power source"},
                                                       {"dataArea", "Data area"},
                                                       {"nvram", "NVRAM"}};
  std::vector<Row> rows;
  for (const auto& [key, title] : names) rows.push_back({{title, textOf(facts[key])}});
  return section("What it is", htmlTable("What it is", {"Fact", "Value"}, rows));
}

std::string statusSection(const ReportSubject& subject) {
  if (!subject.diagnosticData) return "";
  const std::span contents = *subject.image.file(kDiagnosticDataFile);
  const std::span bytes = contents.first(std::min<size_t>(contents.size(), kFirstRecordOffset));
  std::vector<Row> rows;
  for (const auto& [offset, byte] : subject.diagnosticData->diagnosticData->controlBits) {
    const std::vector<std::string> row = controlBitRow(offset, byte);
    rows.push_back({{row.begin(), row.end()}});
  }
  return section("Control-bit bytes",
                 statusGrid(bytes) +
                     (rows.empty() ? paragraph("No station has written one.")
                                   : htmlTable("Control-bit bytes",
                                               {"Offset", "Byte", "Status", "Fail count", "Use"},
                                               rows, {"number", "code", "", "number", ""})));
}

std::string recordsSection(const ReportSubject& subject) {
  if (!subject.diagnosticData) return "";
  const std::vector<RecordLine>& records = subject.diagnosticData->diagnosticData->records;
  if (records.empty()) return section("Records", paragraph("No station has left one."));
  std::string html = "<ol class=\"timeline\">\n";
  for (size_t i = 0; i < records.size(); ++i) {
    const RecordLine& record = records[i];
    html += "<li class=\"result" + std::to_string(record.result) + "\"><time>" +
            markupText(localTimeText(record.time).value_or("(no time)")) + "</time>";
    int64_t elapsed = 0;
    if (i > 0 && !__builtin_sub_overflow(record.time, records[i - 1].time, &elapsed)) {
      html += " <small>" + markupText(elapsedText(elapsed)) + "</small>";
    }
    html += "<br>station " + std::to_string(record.station) + ", result " +
            std::to_string(record.result) + ": <q>" + markupText(record.bytes) + "</q></li>\n";
  }
  return section("Records", html + "</ol>\n");
}

std::string configurationSection(const ReportSubject& subject) {
  if (!subject.configuration) return "";
  const AreaReport& report = *subject.configuration->area;
  const std::span contents = *subject.image.file(kConfigurationFile);
  const std::span area = contents.first(subject.configuration->areaSize);
  std::vector<Row> rows;
  for (const AreaEntry& entry : report.entries) {
    rows.push_back(
        {{keyName(entry.key), entry.isIndirect ? "indirect" : "inline",
          std::to_string(entry.valueLength), entry.isFound ? "yes" : "no",
          entry.fault.empty() ? preview(writtenValueOf(entry, area), 120) : entry.fault}});
  }
  return section(
      "Configuration area",
      areaPicture(report, area) +
          paragraph(std::to_string(report.freeEnd - report.freeBegin) + " of " +
                    std::to_string(area.size()) + " bytes are free.") +
          (rows.empty() ? paragraph("It has no keys.")
                        : htmlTable("Configuration area",
                                    {"Key", "Kind", "Length", "A unit finds it", "Value"}, rows,
                                    {"code", "", "number", "", "code"})));
}

std::string findingsSection(const ReportSubject& subject) {
  std::vector<Row> rows;
  for (const auto& [dump, name] : {std::pair(&subject.diagnosticData, "control bits, records"),
                                   std::pair(&subject.configuration, "configuration area")}) {
    if (!*dump) continue;
    for (const Finding& finding : (*dump)->findings) {
      rows.push_back(
          {{name, std::to_string(finding.offset), std::to_string(finding.length), finding.reason}});
    }
  }
  return section("Findings",
                 rows.empty()
                     ? paragraph("No damage was found in the data sets.")
                     : htmlTable("Findings", {"Data set", "Offset", "Bytes", "What is wrong"}, rows,
                                 {"", "number", "number", ""}));
}

std::string bootArgumentsSection(const ReportSubject& subject) {
  if (subject.image.kind != ImageKind::kUnit) return "";
  const Bytes* file = subject.image.file(kNvramFile);
  const auto variables = file ? propertiesAsJson(*file) : nlohmann::ordered_json();
  if (!variables.is_object() || variables.empty()) {
    return section("Boot arguments", paragraph("The unit has no NVRAM variables."));
  }
  std::vector<Row> rows;
  for (const auto& [name, value] : variables.items()) rows.push_back({{name, textOf(value)}});
  return section("Boot arguments",
                 htmlTable("Boot arguments", {"Variable", "Value"}, rows, {"code", "code"}));
}

std::string logSection(const ReportSubject& subject) {
  constexpr std::ptrdiff_t kMaxLines = 5000;
  const Bytes* log = subject.image.file(kTestLogFile);
  if (!log || log->empty()) return "";
  const std::string_view text(reinterpret_cast<const char*>(log->data()), log->size());
  const std::ptrdiff_t count = std::ranges::count(text, '\n');
  std::ptrdiff_t skipped = 0;
  std::string html =
      "<p class=\"filter\" hidden><label>Show lines with <input type=\"search\"></label> "
      "<output></output></p>\n<ol class=\"log\" tabindex=\"0\" aria-label=\"Test log\">\n";
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = text.substr(at, end - at);
    at = end + 1;
    if (count - skipped > kMaxLines) {
      ++skipped;
      continue;
    }
    html += std::string(beginsLogRecord(line) ? "<li>" : "<li class=\"continued\">") +
            markupText(line) + "</li>\n";
  }
  if (skipped > 0) {
    html = paragraph("Of " + std::to_string(count) + " lines the last " +
                     std::to_string(kMaxLines) + " are shown.") +
           html;
  }
  return section("Test log", html + "</ol>\n");
}

}  // namespace corvane::tools
