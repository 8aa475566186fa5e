#include "tools/inspect/area_view.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/inspect/dump_view.h"
#include "tools/inspect/value_text.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kPreviewWidth = 40;

/// Values alternate between two characters, so that neighbours can be told apart.
using Part = AreaPart;
constexpr Part kHeader = {'H', "\033[35m", "header"};
constexpr Part kInline = {'i', "\033[36m", "inline entry"};
constexpr Part kIndirect = {'x', "\033[34m", "indirect entry"};
constexpr Part kFree = {'.', "\033[2m", "free"};
constexpr Part kValue = {'v', "\033[32m", "value"};
constexpr Part kNextValue = {'w', "\033[33m", "next value"};
constexpr Part kDamaged = {'!', "\033[1;31m", "damaged"};
constexpr Part kUnused = {'?', "", "unused"};
constexpr const Part* kLegend[] = {&kHeader, &kInline,    &kIndirect, &kFree,
                                   &kValue,  &kNextValue, &kDamaged,  &kUnused};

/// Assigns each byte of the area to a part.
std::vector<const Part*> partOfEachByte(const AreaReport& report, size_t size) {
  std::vector<const Part*> parts(size, &kUnused);
  const auto mark = [&parts](size_t offset, size_t length, const Part& part) {
    const size_t begin = std::min(offset, parts.size());
    std::fill_n(parts.begin() + static_cast<std::ptrdiff_t>(begin),
                std::min(length, parts.size() - begin), &part);
  };
  mark(0, std::min(size, area::kHeaderSize), kHeader);
  mark(report.freeBegin, report.freeEnd - report.freeBegin, kFree);
  std::vector<const AreaEntry*> values;
  for (const AreaEntry& entry : report.entries) {
    mark(entry.offset, area::kEntrySize, entry.isIndirect ? kIndirect : kInline);
    if (entry.isIndirect && entry.fault.empty()) values.push_back(&entry);
  }
  std::ranges::sort(values, {}, &AreaEntry::valueOffset);
  for (size_t index = 0; index < values.size(); ++index) {
    mark(values[index]->valueOffset, area::roundUp(values[index]->valueLength),
         index % 2 == 0 ? kValue : kNextValue);
  }
  for (const Finding& finding : report.findings) mark(finding.offset, finding.length, kDamaged);
  return parts;
}

/// Prints marks, changing the colour only where the part changes.
class Painter {
 public:
  Painter(std::ostream& out, bool coloured) : _out(out), _coloured(coloured) {}

  void print(const Part& part) {
    if (_coloured && _current != &part) _out << "\033[0m" << part.colour;
    _current = &part;
    _out << part.mark;
  }
  void end() {
    if (_coloured && _current) _out << "\033[0m";
    _current = nullptr;
  }

 private:
  std::ostream& _out;
  bool _coloured;
  const Part* _current = nullptr;
};

void printSummary(std::ostream& out, const AreaReport& report, size_t size) {
  const auto indirect = std::ranges::count_if(report.entries, &AreaEntry::isIndirect);
  out << report.entries.size() << (report.entries.size() == 1 ? " entry" : " entries") << " ("
      << indirect << " indirect), " << report.freeEnd - report.freeBegin << " of " << size
      << " bytes free\n";
}

}  // namespace

nlohmann::ordered_json valueAsJson(Bytes value, Bytes written) {
  nlohmann::ordered_json json = {{"length", value.size()}, {"hex", hexText(value)}};
  json["text"] = isPlainText(written)
                     ? nlohmann::ordered_json(std::string(written.begin(), written.end()))
                     : nlohmann::ordered_json(nullptr);
  return json;
}

nlohmann::ordered_json entriesAsJson(const AreaReport& report, Bytes image) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const AreaEntry& entry : report.entries) {
    nlohmann::ordered_json json = {{"key", keyName(entry.key)},
                                   {"code", entry.key},
                                   {"kind", entry.isIndirect ? "indirect" : "inline"},
                                   {"offset", entry.offset},
                                   {"valueOffset", entry.valueOffset},
                                   {"found", entry.isFound},
                                   {"fault", nullptr}};
    if (entry.fault.empty()) {
      json.update(valueAsJson(valueOf(entry, image), writtenValueOf(entry, image)));
    } else {
      json["fault"] = entry.fault;
      json["length"] = entry.valueLength;
    }
    list.push_back(json);
  }
  return list;
}

nlohmann::ordered_json areaAsJson(const AreaReport& report, Bytes image) {
  nlohmann::ordered_json header = nullptr;
  if (report.header) {
    header = {{"magic", report.header->magic},        {"tableEnd", report.header->table_end},
              {"areaSize", report.header->area_size}, {"version", report.header->version},
              {"reserved", report.header->reserved},  {"count", report.header->count}};
  }
  nlohmann::ordered_json checks = nlohmann::ordered_json::array();
  for (const auto& [condition, holds] : report.checks) {
    checks.push_back({{"condition", condition}, {"holds", holds}});
  }
  return {{"header", header},
          {"checks", checks},
          {"isHeaderSound", report.isHeaderSound},
          {"entries", entriesAsJson(report, image)},
          {"free", {{"offset", report.freeBegin}, {"length", report.freeEnd - report.freeBegin}}},
          {"findings", findingsAsJson(report.findings)}};
}

void printEntries(std::ostream& out, const AreaReport& report, Bytes image) {
  Table table({{"KEY"}, {"KIND"}, {"LENGTH", Align::kRight}, {"VALUE"}});
  for (const AreaEntry& entry : report.entries) {
    table.addRow(
        {keyName(entry.key), entry.isIndirect ? "indirect" : "inline",
         std::to_string(entry.valueLength),
         entry.fault.empty() ? preview(writtenValueOf(entry, image), kPreviewWidth) : "(damaged)"});
  }
  table.print(out);
}

std::vector<const AreaPart*> mapOfArea(const AreaReport& report, Bytes image, size_t bytesPerMark) {
  const std::vector<const Part*> parts = partOfEachByte(report, image.size());
  std::vector<const Part*> marks;
  for (size_t at = 0; at < parts.size(); at += bytesPerMark) {
    const auto run = std::span(parts).subspan(at, std::min(bytesPerMark, parts.size() - at));
    const bool isDamaged = std::ranges::find(run, &kDamaged) != run.end();
    const auto used = std::ranges::find_if(run, [](const Part* part) { return part != &kFree; });
    marks.push_back(isDamaged ? &kDamaged : used == run.end() ? &kFree : *used);
  }
  return marks;
}

std::span<const AreaPart* const> areaParts() { return kLegend; }

void printMap(std::ostream& out, const AreaReport& report, Bytes image, bool coloured) {
  constexpr size_t kColumns = 64, kBytesPerMark = 16;
  const std::vector<const Part*> map = mapOfArea(report, image, kBytesPerMark);
  Painter painter(out, coloured);
  for (size_t row = 0; row < map.size(); row += kColumns) {
    out << std::setw(6) << row * kBytesPerMark << "  ";
    for (size_t at = row; at < std::min(row + kColumns, map.size()); ++at) painter.print(*map[at]);
    painter.end();
    out << "\n";
  }
  out << "\nEach mark is " << kBytesPerMark << " bytes:";
  size_t column = 0, padding = 0;
  for (const Part* part : kLegend) {
    out << (column++ % 4 == 0 ? "\n  " : std::string(padding, ' '));
    painter.print(*part);
    painter.end();
    out << " " << part->name;
    padding = 17 - std::strlen(part->name);
  }
  out << "\n\n";
  printSummary(out, report, image.size());
}

bool isColouredOutput() {
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) && !(refused && *refused) && terminal &&
         std::string_view(terminal) != "dumb";
}

}  // namespace corvane::tools
