#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/control_bit_byte.h"
#include "controlbits/diagnostic_record.h"
#include "controlbits/poison_byte.h"
#include "platform/number.h"
#include "tools/html/html.h"
#include "tools/json_output.h"
#include "tools/report/report.h"

namespace corvane::tools {
namespace {

/// What control-bit bytes say of a unit by their status, the gravest first. A poison byte, set or
/// cleared, is the same byte as a test that failed or passed at once.
constexpr struct {
  uint32_t status;
  bool mayBePoison;
  Level level;
  const char *headline, *detail;
} kByteStatements[] = {
    {kCorvaneControlBitsFailed, false, Level::kBad, "Failed", "A test failed"},
    {kCorvaneControlBitsFailed, true, Level::kBad, "Failed, or poisoned",
     "A test failed, or a poison byte is set,"},
    {kCorvaneControlBitsIncompleteTest, false, Level::kOpen, "Incomplete", "A test is incomplete"},
    {kCorvaneCotnrolBitsPassed, false, Level::kGood, "Passed", "Tests passed"},
    {kCorvaneCotnrolBitsPassed, true, Level::kGood, "Passed",
     "Tests passed, or poison was cleared,"}};

void addByteStatements(std::vector<Statement>& statements, const std::vector<ControlBit>& bytes) {
  for (const auto& [status, mayBePoison, level, headline, detail] : kByteStatements) {
    std::string offsets;
    size_t count = 0;
    for (const auto& [offset, byte] : bytes) {
      const bool isPoison = unit::useOf(offset).empty() &&
                            (byte == poisonByte(0, true) || byte == poisonByte(0, false));
      if (offset == kLogCollectionOffset || testStatusOf(byte) != status ||
          isPoison != mayBePoison) {
        continue;
      }
      offsets += (count++ > 0 ? ", " : "") + std::to_string(offset);
      if (status == kCorvaneControlBitsFailed && !isPoison) {
        offsets += " (fail count " + std::to_string(failCountOf(byte)) + ")";
      }
    }
    if (count == 0) continue;
    const char* const noun = count == 1 ? " at offset " : " at offsets ";
    statements.push_back({level, headline, detail + (noun + offsets) + "."});
  }
}

void addDamage(std::vector<Statement>& statements, const std::string& what,
               const std::vector<Finding>& findings) {
  if (findings.empty()) return;
  statements.push_back({Level::kBad, "Damaged",
                        "Findings in the " + what + ": " + std::to_string(findings.size()) + "."});
}

std::string section(const std::string& title, const std::string& content) {
  return "<section>\n<h3>" + markupText(title) + "</h3>\n" + content + "</section>\n";
}

/// Returns the table, or the text in its place when it has no rows.
std::string tableOr(const std::string& label, const Table& table, const std::string& textForNone) {
  return table.rows.empty() ? paragraph(textForNone) : htmlTable(label, table);
}

std::string tableSection(const std::string& title, const Table& table,
                         const std::string& textForNone) {
  return section(title, tableOr(title, table, textForNone));
}

std::string factsSection(const UnitImage& image) {
  constexpr char kTitle[] = "What it is";
  if (image.isUnit()) return tableSection(kTitle, factTable(factsOf(image), "(none)"), "");
  const auto& [path, contents] = *image.files.begin();
  return section(
      kTitle, paragraph("A dump of " + path + ", " + std::to_string(contents.size()) + " bytes."));
}

Html cellOf(size_t offset, uint8_t byte) {
  const char mark = markOf(offset, byte);
  const char* const style = mark == 'P' || mark == 'C'   ? "good"
                            : mark == 'F' || mark == '!' ? "bad"
                            : mark == 'I'                ? "open"
                                                         : "";
  return Html::raw(std::string("<span class=\"") + style + "\" title=\"offset " +
                   std::to_string(offset) + ": " + hexNumber(byte, 2) + ", " +
                   unit::byteText(offset, byte) + "\">" + mark + "</span>");
}

std::string statusGrid(ByteSpan bytes) {
  constexpr size_t kColumns = 16;
  std::vector<std::string> titles = {"Offset"};
  for (size_t column = 0; column < kColumns; ++column) titles.push_back(std::to_string(column));
  std::vector<HtmlRow> rows;
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (at % kColumns == 0) rows.push_back({{std::to_string(at)}});
    rows.back().cells.push_back(cellOf(at, bytes[at]));
  }
  return htmlTable("Grid of the control-bit bytes", titles, rows) +
         paragraph(
             "P passed, F failed, ! failed, or poisoned, I incomplete, N not tested, C log "
             "collection complete, . not written. The offset is the row's number plus the "
             "column's.");
}

/// Returns the section of the findings, which says so when there are none.
std::string findingsSection(const std::string& what, const std::vector<Finding>& findings) {
  return tableSection("Findings in the " + what, findingTable(findings), "No damage was found.");
}

std::string diagnosticSections(ByteSpan contents) {
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  const ByteSpan bytes = contents.first(std::min<size_t>(contents.size(), kFirstRecordOffset));
  constexpr char kBytes[] = "Control-bit bytes";
  return section(kBytes, statusGrid(bytes) + tableOr(kBytes, controlBitTable(report.controlBits),
                                                     "No station has written one.")) +
         tableSection("Records", recordTable(report.records), "No station has left one.") +
         findingsSection("control-bit bytes and records", report.findings);
}

std::string configurationSections(ByteSpan contents) {
  const AreaReport report = reportOnArea(contents);
  std::ostringstream map;
  printMap(map, report, false);
  return section("Configuration area",
                 wide("Map of the configuration area", "<pre>" + map.str() + "</pre>") +
                     tableOr("Keys", entryTable(report, 120), "It has no keys.")) +
         findingsSection("configuration area", report.findings);
}

std::string bootArgumentsSection(const UnitImage& image) {
  const auto variables = propertiesAsJson(image.file(kNvramFile));
  if (!variables.is_object()) return "";
  return tableSection("Boot arguments", factTable(variables, ""), "No variable is set.");
}

/// Returns the end of the test log.
std::string logSection(const UnitImage& image) {
  constexpr std::ptrdiff_t kMaxLines = 5000;
  const Bytes* log = image.file(kTestLogFile);
  if (!log || log->empty()) return "";
  std::ptrdiff_t hidden = std::ranges::count(*log, '\n') - kMaxLines;
  std::string note, shown;
  if (hidden > 0) note = paragraph("The first " + std::to_string(hidden) + " lines are not shown.");
  std::istringstream lines({log->begin(), log->end()});
  for (std::string line; std::getline(lines, line); --hidden) {
    if (hidden <= 0) shown += markupText(line) + "\n";
  }
  return section("Test log", note + wide("Test log", "<pre>" + shown + "</pre>", "log"));
}

std::string articleOn(const std::string& name, const UnitImage& image, const std::string& id,
                      const std::vector<Statement>& statements) {
  constexpr const char* kClasses[] = {"bad", "open", "good"};
  std::string html = "<article id=\"" + id + "\">\n<h2>" + markupText(name) +
                     "</h2>\n<div class=\"verdict " +
                     kClasses[static_cast<size_t>(statements[0].level)] + "\"><strong>" +
                     markupText(statements[0].headline) + "</strong>\n";
  for (const Statement& statement : statements) html += paragraph(statement.detail);
  html += "</div>\n" + factsSection(image);
  if (const Bytes* data = image.file(kDiagnosticDataFile)) html += diagnosticSections(*data);
  if (const Bytes* area = image.file(kConfigurationFile)) html += configurationSections(*area);
  return html + bootArgumentsSection(image) + logSection(image) + "</article>\n";
}

}  // namespace

std::vector<Statement> statementsOn(const UnitImage& image) {
  std::vector<Statement> statements;
  const Bytes* const data = image.file(kDiagnosticDataFile);
  const Bytes* const area = image.file(kConfigurationFile);
  if (data) {
    const DiagnosticReport report = reportOnDiagnosticData(*data);
    addByteStatements(statements, report.controlBits);
    addDamage(statements, "diagnostic data", report.findings);
  }
  if (area) addDamage(statements, "configuration area", reportOnArea(*area).findings);
  for (const auto& [path, contents] : image.files) {
    if (!path.ends_with(".committed")) continue;
    statements.push_back(
        {Level::kOpen, "Uncommitted", path + " undoes changes at the next reboot."});
  }
  std::ranges::stable_sort(statements, {}, &Statement::level);
  const bool isEmpty = statements.empty();
  if (data ? isEmpty || statements.back().level != Level::kGood : isEmpty && !area) {
    statements.push_back({Level::kOpen, "Not tested", "No station has left a passed test."});
  } else if (isEmpty) {
    statements.push_back({Level::kGood, "Sound", "The configuration area has no findings."});
  }
  return statements;
}

std::string reportPage(const std::vector<std::pair<std::string, UnitImage>>& subjects,
                       const std::string& chartSvg) {
  std::string list, articles;
  for (const auto& subject : subjects) {
    const auto& [name, image] = subject;
    const std::vector<Statement> statements = statementsOn(image);
    const std::string id = "subject-" + std::to_string(&subject - subjects.data());
    list +=
        "<li>" + linkTo(id, name).markup + ": " + markupText(statements[0].headline) + "</li>\n";
    articles += articleOn(name, image, id, statements);
  }
  std::string html = subjects.size() > 1 ? "<nav><ul>\n" + list + "</ul></nav>\n" : "";
  html += articles;
  if (!chartSvg.empty()) {
    constexpr char kTitle[] = "Processor use";
    html += std::string("<section>\n<h2>") + kTitle + "</h2>\n" + wide(kTitle, chartSvg, "plot") +
            "</section>\n";
  }
  return htmlPage("Unit report", html);
}

}  // namespace corvane::tools
