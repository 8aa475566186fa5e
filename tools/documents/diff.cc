#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <tuple>

#include "controlbits/diagnostic_record.h"
#include "platform/number.h"
#include "platform/printable.h"
#include "tools/command_error.h"
#include "tools/documents/documents.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

/// What a statement is about: its rank, which gives the order of the output, its part and its name.
using Place = std::tuple<size_t, std::string, std::string>;

/// What a file says at a place.
struct Statement {
  /// In words; empty where it says nothing.
  std::string text;
  /// The bytes that say it, by offset and length.
  std::vector<std::pair<size_t, size_t>> bytes = {};
};

using Statements = std::map<Place, Statement>;

const Place kArea = {1, "key", "area"};

Statements diagnosticStatements(ByteSpan contents) {
  Statements said;
  for (size_t at = 0; at < std::min<size_t>(contents.size(), kFirstRecordOffset); ++at) {
    said[{at, "status", std::to_string(at)}] = {
        unit::byteText(at, contents[at]) + " (" + hexNumber(contents[at], 2) + ")", {{at, 1}}};
  }
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  said[{kFirstRecordOffset, "record", "time bits"}] = {std::to_string(report.timeBits)};
  for (const unit::Record& record : report.records) {
    const std::string text = localTimeText(record.time).value_or("(no time)") + ", station " +
                             std::to_string(record.station) + ", result " +
                             std::to_string(record.result) + ", \"" + printable(record.message) +
                             "\"";
    const size_t number = record.slot + 1;
    said[{kFirstRecordOffset + number, "record", std::to_string(number)}] = {
        text, {{record.offset, report.recordSize}}};
  }
  return said;
}

/// Returns what a unit finds in the area.
Statements configurationStatements(ByteSpan contents) {
  const AreaReport report = reportOnArea(contents);
  Statements said;
  for (const AreaEntry& entry : report.entries) {
    if (!entry.isFound) continue;
    const ByteSpan value = entry.writtenValue();
    const std::string text = valueText(value);
    said[{0, "key", keyName(entry.key)}] = {
        isPlainText(value) ? "\"" + text + "\"" : text,
        {{entry.offset, area::kEntrySize}, {entry.valueOffset, area::roundUp(entry.valueLength)}}};
  }
  said[kArea] = {report.isHeaderSound ? "a store" : "no store (header damaged)"};
  return said;
}

Statements propertyStatements(const std::string& part, const Bytes& contents) {
  const Json properties = propertiesAsJson(&contents);
  if (!properties.is_structured() || properties.empty()) return {};
  Statements said;
  const Json flat = properties.flatten();
  for (const auto& [place, value] : flat.items()) {
    said[{0, part, place.substr(1)}] = {value.dump(-1, ' ', false, Json::error_handler_t::replace)};
  }
  return said;
}

Statements statementsOf(const std::string& path, const Bytes& contents) {
  if (path == kDiagnosticDataFile) return diagnosticStatements(contents);
  if (path == kConfigurationFile) return configurationStatements(contents);
  if (path == kDeviceFile) return propertyStatements("device", contents);
  if (path == kNvramFile) return propertyStatements("nvram", contents);
  if (path.ends_with(".plist")) return propertyStatements("file " + path, contents);
  if (path != kTestLogFile) return {};
  return {{{0, "file", path}, {printable(std::string(contents.begin(), contents.end()))}}};
}

/// Returns one difference. Of texts that are too long to be shown, the part is shown that begins
/// shortly before they differ.
Json difference(const std::string& part, const std::string& place, const std::string& a,
                const std::string& b) {
  constexpr size_t kMaxShown = 100, kContext = 16;
  size_t begin = 0;
  if (!a.empty() && !b.empty() && std::max(a.size(), b.size()) > kMaxShown) {
    const auto same = static_cast<size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
    begin = std::max(same, kContext) - kContext;
    while (begin > 0 && (a[begin] & 0xC0) == 0x80) --begin;  // Not inside a character.
  }
  const auto shown = [&](const std::string& text) {
    return text.empty() ? Json()
                        : Json((begin > 0 ? "..." : "") + shortened(text.substr(begin), kMaxShown));
  };
  return {{"part", part}, {"place", place}, {"a", shown(a)}, {"b", shown(b)}};
}

/// Adds the runs of bytes that differ.
void addRaw(Json& raw, const std::string& path, ByteSpan a, ByteSpan b) {
  constexpr size_t kMaxShown = 16;
  const size_t size = std::min(a.size(), b.size());
  for (size_t at = 0; at < size; ++at) {
    if (a[at] == b[at]) continue;
    const size_t begin = at;
    while (at < size && a[at] != b[at]) ++at;
    const size_t length = at - begin, shown = std::min(length, kMaxShown);
    const std::string more = length > shown ? "..." : "";
    raw.push_back(difference(
        "raw", path + ", " + std::to_string(length) + " bytes at " + std::to_string(begin),
        hexText(a.subspan(begin, shown)) + more, hexText(b.subspan(begin, shown)) + more));
  }
  if (a.size() == b.size()) return;
  raw.push_back(
      difference("raw", path + ", size", std::to_string(a.size()), std::to_string(b.size())));
}

/// Adds what differs in the contents of a file, and to `raw` the bytes that no statement explains.
void compare(const std::string& path, const Bytes& a, const Bytes& b, Json& differences,
             Json& raw) {
  const Statements before = statementsOf(path, a), after = statementsOf(path, b);
  std::map<Place, std::array<Statement, 2>> places;
  for (const auto& [place, said] : before) places[place][0] = said;
  for (const auto& [place, said] : after) places[place][1] = said;

  // As `b`, with the bytes that are explained as `a` has them.
  Bytes unexplained = b;
  const auto explain = [&](const Statement& said) {
    for (const auto& [offset, length] : said.bytes) {
      const size_t end = std::min({offset + length, a.size(), b.size()});
      for (size_t at = offset; at < end; ++at) unexplained[at] = a[at];
    }
  };
  Json found = Json::array();
  for (const auto& [place, said] : places) {
    const auto& [rank, part, name] = place;
    const auto& [left, right] = said;
    if (left.text != right.text) {
      found.push_back(difference(part, name, left.text, right.text));
    } else if (left.bytes == right.bytes) {
      continue;
    }
    explain(left);
    explain(right);
  }
  // The header of a store counts its entries.
  if (path == kConfigurationFile && before.size() != after.size() &&
      before.at(kArea).text == after.at(kArea).text) {
    explain({"", {{offsetof(area::Header, table_end), 4}, {offsetof(area::Header, count), 4}}});
  }
  const bool isDataSet = path == kDiagnosticDataFile || path == kConfigurationFile;
  if (isDataSet || found.empty()) addRaw(raw, path, a, found.empty() ? b : unexplained);
  differences.insert(differences.end(), found.begin(), found.end());
}

}  // namespace

Json differencesOf(const UnitImage& a, const UnitImage& b) {
  if (!a.isUnit() && !b.isUnit() && a.files.begin()->first != b.files.begin()->first) {
    throw CommandError(kUsage,
                       "a dump of control-bit bytes cannot be compared with one of a "
                       "configuration area");
  }
  std::set<std::string> paths;
  for (const UnitImage* image : {&a, &b}) {
    for (const auto& [path, contents] : image->files) paths.insert(path);
  }
  Json differences = Json::array(), raw = Json::array();
  for (const std::string& path : paths) {
    const Bytes *left = a.file(path), *right = b.file(path);
    // Of a dump and a unit, only what the dump is of is compared.
    if ((!left && !a.isUnit()) || (!right && !b.isUnit())) continue;
    if (left && right && *left == *right) continue;
    const auto sizeOf = [](const Bytes* file) {
      return file ? std::to_string(file->size()) + " bytes" : "";
    };
    if ((left && right) || path.ends_with(".plist")) {
      compare(path, left ? *left : Bytes(), right ? *right : Bytes(), differences, raw);
    } else {
      differences.push_back(difference("file", path, sizeOf(left), sizeOf(right)));
    }
  }
  differences.insert(differences.end(), raw.begin(), raw.end());
  return differences;
}

void printDifferences(std::ostream& out, const Json& differences) {
  for (const Json& each : differences) {
    const auto text = [&](const char* field) {
      return each[field].is_null() ? "" : printable(each[field].get_ref<const std::string&>());
    };
    const char* const mark = each["a"].is_null() ? "+ " : each["b"].is_null() ? "- " : "~ ";
    out << mark << text("part") << " " << text("place") << ": " << text("a")
        << (*mark == '~' ? " -> " : "") << text("b") << "\n";
  }
  const std::string count = "differences: " + std::to_string(differences.size());
  out << (differences.empty() ? "no difference" : count + " (+ only in B, - only in A, ~ changed)")
      << "\n";
}

}  // namespace corvane::tools
