#include "tools/documents/unit_diff.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>

#include "controlbits/diagnostic_record.h"
#include "platform/number.h"
#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/documents/unit_document.h"
#include "tools/inspect/inspect.h"
#include "tools/terminal/terminal.h"
#include "unit/byte_text.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;
using Span = std::span<const uint8_t>;

/// A run of a file's bytes: where it begins and how many they are.
using Run = std::pair<size_t, size_t>;

/// Something that a file says.
struct Item {
  std::string part, place;
  /// The value in words. Two items of the same text say the same.
  std::string text;
  /// The bytes that say it.
  std::vector<Run> bytes = {};
  /// The bytes that it takes besides, which change when it is added or removed.
  std::vector<Run> room = {};
};

using Items = std::vector<Item>;

Items statusItems(Span contents) {
  Items items;
  for (size_t at = 0; at < std::min<size_t>(contents.size(), kFirstRecordOffset); ++at) {
    const std::string text =
        unit::byteText(at, contents[at]) + " (" + hexNumber(contents[at], 2) + ")";
    items.push_back({"status", std::to_string(at), text, {{at, 1}}});
  }
  return items;
}

Items diagnosticItems(Span contents) {
  Items items = statusItems(contents);
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  items.push_back({"record", "time bits", std::to_string(report.timeBits)});
  const size_t messageAt = static_cast<size_t>(report.timeBits) / 8 + 2;
  for (const unit::Record& record : report.records) {
    const std::string version =
        record.version == 0 ? "" : ", version " + std::to_string(record.version);
    const std::string text = localTimeText(record.time).value_or("(no time)") + ", station " +
                             std::to_string(record.station) + ", result " +
                             std::to_string(record.result) + version + ", \"" +
                             printable(record.message) + "\"";
    const size_t length = std::min(messageAt + record.message.size() + 1, report.recordSize);
    items.push_back({"record",
                     std::to_string(record.slot + 1),
                     text,
                     {{record.offset, length}},
                     {{record.offset, report.recordSize}}});
  }
  return items;
}

/// Returns what a unit finds in the area.
Items configurationItems(Span contents) {
  const AreaReport report = reportOnArea(contents);
  Items items;
  for (const AreaEntry& entry : report.entries) {
    if (!entry.isFound) continue;
    const Span value = entry.writtenValue();
    items.push_back({"key",
                     keyName(entry.key),
                     isPlainText(value) ? "\"" + std::string(value.begin(), value.end()) + "\""
                                        : "0x" + hexText(value),
                     {{entry.offset, area::kEntrySize},
                      {entry.valueOffset, area::roundUp(entry.valueLength)}}});
  }
  items.push_back({"key", "area", report.isHeaderSound ? "a store" : "no store (header damaged)"});
  return items;
}

Items propertyItems(const std::string& part, Span contents) {
  const Json properties = propertiesAsJson(contents);
  if (!properties.is_structured() || properties.empty()) return {};
  Items items;
  const Json flat = properties.flatten();
  for (const auto& [place, value] : flat.items()) {
    items.push_back(
        {part, place.substr(1), value.dump(-1, ' ', false, Json::error_handler_t::replace)});
  }
  return items;
}

Items itemsOf(const std::string& path, Span contents) {
  if (path == kDiagnosticDataFile) return diagnosticItems(contents);
  if (path == kConfigurationFile) return configurationItems(contents);
  if (path == kDeviceFile) return propertyItems("device", contents);
  if (path == kNvramFile) return propertyItems("nvram", contents);
  if (path.ends_with(".plist")) return propertyItems("file " + path, contents);
  if (path == kTestLogFile) {
    return {{"file", path, printable(std::string(contents.begin(), contents.end()))}};
  }
  return {};
}

using ItemPair = std::pair<const Item*, const Item*>;

/// Pairs what both say of the same place; null stands for what one of them does not say.
std::vector<ItemPair> pairsOf(const Items& a, const Items& b) {
  std::map<std::pair<std::string, std::string>, const Item*> unpaired;
  for (const Item& item : b) unpaired[{item.part, item.place}] = &item;
  std::vector<ItemPair> pairs;
  for (const Item& item : a) {
    const auto other = unpaired.extract({item.part, item.place});
    pairs.emplace_back(&item, other ? other.mapped() : nullptr);
  }
  for (const Item& item : b) {
    if (unpaired.contains({item.part, item.place})) pairs.emplace_back(nullptr, &item);
  }
  return pairs;
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
void addRaw(Json& raw, const std::string& path, Span a, Span b) {
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

/// Adds what differs in the contents of a file, and to `raw` the bytes that no item explains.
void compare(const std::string& path, const Bytes& a, Bytes b, Json& differences, Json& raw) {
  const Items before = itemsOf(path, a), after = itemsOf(path, b);
  // What is explained is made the same.
  const auto explain = [&](const std::vector<Run>& runs) {
    for (const auto& [offset, length] : runs) {
      const size_t end = std::min({offset + length, a.size(), b.size()});
      for (size_t at = offset; at < end; ++at) b[at] = a[at];
    }
  };
  const size_t alreadyFound = differences.size();
  size_t moved = 0;
  for (const auto& [left, right] : pairsOf(before, after)) {
    const bool isSame = left && right && left->text == right->text;
    if (isSame && left->bytes == right->bytes) continue;
    moved += isSame;
    const Item& item = left ? *left : *right;
    if (!isSame) {
      differences.push_back(
          difference(item.part, item.place, left ? left->text : "", right ? right->text : ""));
    }
    explain(item.bytes);
    explain(left && right ? right->bytes : item.room);
  }
  if (moved > 0) {
    differences.push_back(
        difference("key", "places", "", std::to_string(moved) + " unchanged keys in other places"));
  }
  // The header of a store counts the entries.
  if (path == kConfigurationFile && before.size() != after.size() &&
      before.back().text == after.back().text) {
    explain({{offsetof(area::Header, table_end), 4}, {offsetof(area::Header, count), 4}});
  }
  const bool isDataSet = path == kDiagnosticDataFile || path == kConfigurationFile;
  if (isDataSet || differences.size() == alreadyFound) addRaw(raw, path, a, b);
}

}  // namespace

Json differencesOf(const UnitImage& a, const UnitImage& b) {
  const bool areUnits = a.kind == ImageKind::kUnit && b.kind == ImageKind::kUnit;
  if (a.kind != b.kind && a.kind != ImageKind::kUnit && b.kind != ImageKind::kUnit) {
    throw CommandError(kUsage,
                       "a dump of control-bit bytes and one of a configuration area have "
                       "nothing to compare");
  }
  std::set<std::string> others;
  for (const UnitImage* image : {&a, &b}) {
    if (!areUnits && image->kind == ImageKind::kUnit) continue;
    for (const auto& [path, contents] : image->files) others.insert(path);
  }
  // The data sets first: they are what stations change.
  std::vector<std::string> paths;
  for (const char* path : {kDiagnosticDataFile, kConfigurationFile, kNvramFile, kDeviceFile}) {
    if (others.erase(path) > 0) paths.emplace_back(path);
  }
  paths.insert(paths.end(), others.begin(), others.end());
  Json differences = Json::array(), raw = Json::array();
  for (const std::string& path : paths) {
    const Bytes *left = a.file(path), *right = b.file(path);
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
  if (differences.empty()) {
    out << "no difference\n";
  } else {
    out << differences.size() << (differences.size() == 1 ? " difference" : " differences")
        << " (+ only in B, - only in A, ~ changed)\n";
  }
}

}  // namespace corvane::tools
