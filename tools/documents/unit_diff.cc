#include "tools/documents/unit_diff.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>

#include "controlbits/control_bit_byte.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/control_bit_text.h"
#include "tools/documents/unit_document.h"
#include "tools/inspect/area_report.h"
#include "tools/inspect/value_text.h"

namespace corvane::tools {
namespace {

using Span = std::span<const uint8_t>;

/// The bytes of two contents whose difference has been reported, by offset.
class Explained {
 public:
  void add(size_t offset, size_t length) {
    if (offset + length > _bytes.size()) _bytes.resize(offset + length);
    std::fill_n(_bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, true);
  }
  bool covers(size_t offset) const { return offset < _bytes.size() && _bytes[offset]; }

 private:
  std::vector<bool> _bytes;
};

class Differ {
 public:
  void found(std::string part, std::string place, std::string a, std::string b) {
    _differences.push_back({std::move(part), std::move(place), std::move(a), std::move(b)});
  }

  /// Reports two contents that are too long to be shown, from the first byte that differs.
  void foundWithin(std::string part, std::string place, Span a, Span b);

  void diffDiagnosticData(Span a, Span b);
  void diffConfiguration(Span a, Span b);
  void diffProperties(const std::string& part, const Bytes* a, const Bytes* b);
  void diffFile(const std::string& path, const Bytes* a, const Bytes* b);

  std::vector<Difference> take() {
    std::ranges::move(_raw, std::back_inserter(_differences));
    return std::move(_differences);
  }

 private:
  void diffRecord(const DiagnosticReport& a, const DiagnosticReport& b, size_t slot,
                  Explained& explained);
  void diffRaw(const std::string& path, Span a, Span b, const Explained& explained);

  std::vector<Difference> _differences, _raw;
};

std::string statusText(size_t offset, uint8_t byte) {
  return unit::byteText(offset, byte) + " (" + hexNumber(byte, 2) + ")";
}

std::string recordText(const RecordLine& record) {
  return localTimeText(record.time).value_or("(no time)") + ", station " +
         std::to_string(record.station) + ", result " + std::to_string(record.result) +
         (record.version == 0 ? "" : ", version " + std::to_string(record.version)) + ", \"" +
         printable(record.bytes) + "\"";
}

std::string valueText(Span value) {
  constexpr size_t kWidth = 48;
  return isPlainText(value) ? "\"" + preview(value, kWidth) + "\"" : preview(value, kWidth);
}

void Differ::foundWithin(std::string part, std::string place, Span a, Span b) {
  const auto at = static_cast<size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
  place += ", from byte " + std::to_string(at) + " of " + std::to_string(a.size());
  if (a.size() != b.size()) place += " and " + std::to_string(b.size());
  const Span left = a.subspan(at), right = b.subspan(at);
  const auto bytes = [](Span span) {
    return span.empty() ? "(its end)" : hexText(span.first(std::min<size_t>(span.size(), 16)));
  };
  const bool areTold = valueText(left) != valueText(right) && !left.empty() && !right.empty();
  found(std::move(part), std::move(place), areTold ? valueText(left) : bytes(left),
        areTold ? valueText(right) : bytes(right));
}

void Differ::diffRecord(const DiagnosticReport& a, const DiagnosticReport& b, size_t slot,
                        Explained& explained) {
  const RecordLine* left = slot < a.records.size() ? &a.records[slot] : nullptr;
  const RecordLine* right = slot < b.records.size() ? &b.records[slot] : nullptr;
  const std::string before = left ? recordText(*left) : "";
  const std::string after = right ? recordText(*right) : "";
  if (before != after) found("record", std::to_string(slot + 1), before, after);
  if (!left || !right) {
    const auto& [offset, size] =
        std::pair((left ? left : right)->offset, (left ? a : b).recordSize);
    return explained.add(offset, size);
  }
  // A difference that the texts do not show is left to the raw bytes, as is what the message field
  // has after its zero byte.
  if (a.recordSize != b.recordSize || before == after) return;
  const size_t messageAt = static_cast<size_t>(a.timeBits) / 8 + 2;
  explained.add(left->offset, messageAt);
  explained.add(
      left->offset + messageAt,
      std::min(std::max(left->bytes.size(), right->bytes.size()) + 1, a.recordSize - messageAt));
}

void Differ::diffDiagnosticData(Span a, Span b) {
  Explained explained;
  const size_t count = std::min<size_t>({a.size(), b.size(), kFirstRecordOffset});
  for (size_t offset = 0; offset < count; ++offset) {
    if (a[offset] != b[offset]) {
      found("status", std::to_string(offset), statusText(offset, a[offset]),
            statusText(offset, b[offset]));
    }
  }
  explained.add(0, count);
  const DiagnosticReport left = reportOnDiagnosticData(a), right = reportOnDiagnosticData(b);
  if (left.timeBits != right.timeBits) {
    found("record", "time bits", std::to_string(left.timeBits), std::to_string(right.timeBits));
  }
  for (size_t slot = 0; slot < std::max(left.records.size(), right.records.size()); ++slot) {
    diffRecord(left, right, slot, explained);
  }
  diffRaw(kDiagnosticDataFile, a, b, explained);
}

/// Returns the entries that a unit finds, by key.
std::map<uint32_t, const AreaEntry*> foundEntries(const AreaReport& report) {
  std::map<uint32_t, const AreaEntry*> entries;
  for (const AreaEntry& entry : report.entries) {
    if (entry.isFound) entries[entry.key] = &entry;
  }
  return entries;
}

void Differ::diffConfiguration(Span a, Span b) {
  const AreaReport left = reportOnArea(a), right = reportOnArea(b);
  const auto leftEntries = foundEntries(left), rightEntries = foundEntries(right);
  std::set<uint32_t> keys;
  for (const auto& [key, entry] : leftEntries) keys.insert(key);
  for (const auto& [key, entry] : rightEntries) keys.insert(key);

  Explained explained;
  size_t moved = 0;
  for (const uint32_t key : keys) {
    const auto l = leftEntries.find(key), r = rightEntries.find(key);
    const AreaEntry* before = l == leftEntries.end() ? nullptr : l->second;
    const AreaEntry* after = r == rightEntries.end() ? nullptr : r->second;
    const std::string beforeText = before ? valueText(writtenValueOf(*before, a)) : "";
    const std::string afterText = after ? valueText(writtenValueOf(*after, b)) : "";
    const bool isSame =
        before && after && std::ranges::equal(valueOf(*before, a), valueOf(*after, b));
    if (!isSame && beforeText != afterText) {
      found("key", keyName(key), beforeText, afterText);
    } else if (!isSame) {
      foundWithin("key", keyName(key), valueOf(*before, a), valueOf(*after, b));
    }
    const bool isMoved =
        isSame && (before->offset != after->offset || before->valueOffset != after->valueOffset);
    moved += isMoved;
    if (isSame && !isMoved) continue;
    for (const AreaEntry* entry : {before, after}) {
      if (!entry) continue;
      explained.add(entry->offset, area::kEntrySize);
      explained.add(entry->valueOffset, area::roundUp(entry->valueLength));
    }
  }
  if (left.isHeaderSound != right.isHeaderSound) {
    const auto text = [](bool isSound) {
      return isSound ? "a store" : "no store (header damaged)";
    };
    found("key", "area", text(left.isHeaderSound), text(right.isHeaderSound));
  }
  if (moved > 0) {
    found("key", "places", "", std::to_string(moved) + " unchanged keys in other places");
  }
  if (left.isHeaderSound && right.isHeaderSound && left.entries.size() != right.entries.size()) {
    explained.add(offsetof(area::Header, table_end), sizeof(uint32_t));
    explained.add(offsetof(area::Header, count), sizeof(uint32_t));
  }
  diffRaw(kConfigurationFile, a, b, explained);
}

/// Reports runs of bytes that differ and are not explained.
void Differ::diffRaw(const std::string& path, Span a, Span b, const Explained& explained) {
  constexpr size_t kShown = 16;
  const auto differs = [&](size_t at) { return a[at] != b[at] && !explained.covers(at); };
  const size_t size = std::min(a.size(), b.size());
  for (size_t at = 0; at < size; ++at) {
    if (!differs(at)) continue;
    const size_t begin = at;
    while (at < size && differs(at)) ++at;
    const auto text = [&](Span bytes) {
      const size_t length = std::min(at - begin, kShown);
      return hexText(bytes.subspan(begin, length)) + (length < at - begin ? "..." : "");
    };
    _raw.push_back({"raw",
                    path + ", " + std::to_string(at - begin) + " bytes at " + std::to_string(begin),
                    text(a), text(b)});
  }
  if (a.size() != b.size()) {
    _raw.push_back({"raw", path + ", size", std::to_string(a.size()), std::to_string(b.size())});
  }
}

void Differ::diffProperties(const std::string& part, const Bytes* a, const Bytes* b) {
  const auto flatten = [](const Bytes* contents) {
    const auto json = contents ? propertiesAsJson(*contents) : nlohmann::ordered_json();
    std::map<std::string, std::string> entries;
    if (json.is_structured() && !json.empty()) {
      const auto flat = json.flatten();
      for (const auto& [place, value] : flat.items()) {
        entries[place.substr(1)] =
            value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
      }
    }
    return entries;
  };
  const auto left = flatten(a), right = flatten(b);
  std::set<std::string> places;
  for (const auto& [place, value] : left) places.insert(place);
  for (const auto& [place, value] : right) places.insert(place);
  for (const std::string& place : places) {
    const auto l = left.find(place), r = right.find(place);
    const std::string before = l == left.end() ? "" : l->second;
    const std::string after = r == right.end() ? "" : r->second;
    if (before != after) found(part, place, before, after);
  }
}

void Differ::diffFile(const std::string& path, const Bytes* a, const Bytes* b) {
  const bool isSame = a && b ? *a == *b : a == b;
  if (isSame) return;
  const size_t before = _differences.size();
  if (path == kDeviceFile) diffProperties("device", a, b);
  if (path == kNvramFile) diffProperties("nvram", a, b);
  if (path.ends_with(".plist") && path != kDeviceFile && path != kNvramFile) {
    diffProperties("file " + path, a, b);
  }
  if (a && b && path == kDiagnosticDataFile) return diffDiagnosticData(*a, *b);
  if (a && b && path == kConfigurationFile) return diffConfiguration(*a, *b);
  if (a && b && path == kTestLogFile) return foundWithin("file", path, *a, *b);
  if (!a || !b) {
    if (_differences.size() > before) return;
    const auto size = [](const Bytes* file) {
      return file ? std::to_string(file->size()) + " bytes" : "";
    };
    return found("file", path, size(a), size(b));
  }
  if (_differences.size() == before) diffRaw(path, *a, *b, {});
}

}  // namespace

std::vector<Difference> diffImages(const UnitImage& a, const UnitImage& b) {
  const bool areUnits = a.kind == ImageKind::kUnit && b.kind == ImageKind::kUnit;
  if (a.kind != b.kind && a.kind != ImageKind::kUnit && b.kind != ImageKind::kUnit) {
    throw CommandError(kUsage,
                       "a dump of control-bit bytes and one of a configuration area have "
                       "nothing to compare");
  }
  std::set<std::string> paths;
  for (const UnitImage* image : {&a, &b}) {
    if (!areUnits && image->kind == ImageKind::kUnit) continue;
    for (const auto& [path, contents] : image->files) paths.insert(path);
  }
  Differ differ;
  // The data sets first: they are what stations change.
  for (const char* path : {kDiagnosticDataFile, kConfigurationFile, kNvramFile, kDeviceFile}) {
    if (paths.erase(path) > 0) differ.diffFile(path, a.file(path), b.file(path));
  }
  for (const std::string& path : paths) differ.diffFile(path, a.file(path), b.file(path));
  return differ.take();
}

void printDifferences(std::ostream& out, const std::vector<Difference>& differences) {
  for (const auto& [part, place, a, b] : differences) {
    const std::string what = printable(std::string(part).append(" ").append(place).append(": "));
    if (a.empty()) {
      out << "+ " << what << printable(b) << "\n";
    } else if (b.empty()) {
      out << "- " << what << printable(a) << "\n";
    } else {
      out << "~ " << what << printable(a) << " -> " << printable(b) << "\n";
    }
  }
  if (differences.empty()) {
    out << "no difference\n";
  } else {
    out << differences.size() << (differences.size() == 1 ? " difference" : " differences")
        << " (+ only in B, - only in A, ~ changed)\n";
  }
}

nlohmann::ordered_json differencesAsJson(const std::vector<Difference>& differences) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& [part, place, a, b] : differences) {
    list.push_back({{"part", part}, {"place", place}, {"a", orNull(a)}, {"b", orNull(b)}});
  }
  return list;
}

}  // namespace corvane::tools
