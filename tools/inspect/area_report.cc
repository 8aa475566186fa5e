#include "tools/inspect/area_report.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <set>

#include "platform/number.h"
#include "syscfg/memory_store.h"
#include "tools/inspect/value_text.h"

namespace corvane::tools {
namespace {

using Bytes = std::span<const uint8_t>;

/// Builds a report step by step.
class AreaReporter {
 public:
  explicit AreaReporter(Bytes image) : _image(image) { _report.size = image.size(); }

  AreaReport run() {
    if (_image.size() < area::kHeaderSize) {
      report(0, _image.size(), "too short for a header of 24 bytes");
      return _report;
    }
    checkHeader();
    readEntries();
    checkValues();
    checkFreeSpace();
    lookUpEntries();
    for (const AreaEntry& entry : _report.entries) {
      if (!entry.fault.empty()) {
        report(entry.offset, area::kEntrySize, keyName(entry.key) + ": " + entry.fault);
      }
    }
    std::ranges::stable_sort(_report.findings, {}, &Finding::offset);
    return _report;
  }

 private:
  void report(size_t offset, size_t length, const std::string& reason) {
    _report.findings.push_back({offset, length, reason});
  }

  void reportWord(size_t offset, const std::string& reason) {
    report(offset, sizeof(uint32_t), reason);
  }

  void checkHeader() {
    const auto header = area::load<area::Header>(_image.data());
    _report.header = header;
    for (const area::HeaderCheck& check : area::headerChecks()) {
      _report.checks.emplace_back(check.condition, check.holds(header, _image.size()));
    }
    _report.isHeaderSound = area::isHeaderSound(_image.data(), _image.size());

    const size_t capacity = area::entryCapacity(_image.size());
    const bool isCut = header.area_size == kDeviceAreaSize && _image.size() < kDeviceAreaSize;
    checkWord("magic", offsetof(area::Header, magic), header.magic, area::kMagic);
    checkWord("table_end", offsetof(area::Header, table_end), header.table_end,
              area::entryOffset(header.count),
              ", where " + std::to_string(header.count) + " entries end");
    if (isCut) {
      report(_image.size(), kDeviceAreaSize - _image.size(), "missing");
    } else {
      checkWord("area_size", offsetof(area::Header, area_size), header.area_size, _image.size());
    }
    checkWord("version", offsetof(area::Header, version), header.version, area::kVersion,
              " (no unit looks at it)");
    checkWord("reserved", offsetof(area::Header, reserved), header.reserved, 0);
    checkWord("count", offsetof(area::Header, count), header.count,
              std::min<size_t>(header.count, capacity), ", for which there is room");
  }

  /// Reports a word of the header that is not what it is meant to be; `note` says more of that.
  void checkWord(const std::string& name, size_t offset, uint32_t held, size_t meant,
                 const std::string& note = "") {
    if (held == meant) return;
    const bool isSize = name == "table_end" || name == "area_size" || name == "count";
    const auto text = [&](size_t word) {
      return isSize ? std::to_string(word) : hexNumber(word, 1);
    };
    reportWord(offset, name + " is " + text(held) + ", not " + text(meant) + note);
  }

  /// Returns the count in the header or, when the area cannot hold that many, the number of entries
  /// that end at table_end.
  size_t entryCount() const {
    const area::Header& header = *_report.header;
    const size_t capacity = area::entryCapacity(_image.size());
    if (header.count <= capacity) return header.count;
    const size_t byTableEnd = area::entryCapacity(header.table_end);
    return area::entryOffset(byTableEnd) == header.table_end && byTableEnd <= capacity ? byTableEnd
                                                                                       : 0;
  }

  void readEntries() {
    const size_t count = entryCount();
    _report.freeBegin = area::entryOffset(count);
    _report.freeEnd =
        std::clamp(area::freeEnd(_image.data(), count), _report.freeBegin, _image.size());
    std::set<uint32_t> keys;
    for (size_t index = 0; index < count; ++index) {
      AreaEntry entry = readEntry(area::entryOffset(index));
      if (entry.fault.empty() && !keys.insert(entry.key).second) {
        entry.fault = "an earlier entry has the same key and hides this one";
      }
      const size_t begin = std::min(entry.valueOffset, _image.size());
      const Bytes value = _image.subspan(begin, std::min(entry.valueLength, _image.size() - begin));
      entry.value.assign(value.begin(), value.end());
      _report.entries.push_back(std::move(entry));
    }
  }

  AreaEntry readEntry(size_t offset) {
    const uint8_t* bytes = &_image[offset];
    if (!area::isIndirect(bytes)) {
      return {area::keyOf(bytes), false, offset, offset + offsetof(area::InlineEntry, value),
              area::kInlineRoom};
    }
    const auto fields = area::load<area::IndirectEntry>(bytes);
    AreaEntry entry = {fields.key, true, offset, fields.offset, fields.length};
    const std::string place = "its value, " + std::to_string(fields.length) + " bytes at " +
                              std::to_string(fields.offset) + ", ";
    const size_t areaEnd = std::min<size_t>(_report.header->area_size, _image.size());
    switch (area::checkValue(fields.offset, fields.length, _report.freeBegin, areaEnd)) {
      case area::ValueFault::kInsideTable:
        entry.fault = place + "begins inside the table";
        break;
      case area::ValueFault::kOutsideImage:
        entry.fault = place + "ends outside the area";
        break;
      case area::ValueFault::kNone:
        if (fields.offset % sizeof(uint32_t) != 0) entry.fault = place + "is not at a whole word";
        if (area::roundUp(fields.length) <= area::kInlineRoom) {
          entry.fault = place + "is so short that it belongs inside the entry";
        }
        break;
    }
    if (fields.spare != 0xFFFFFFFF) {
      reportWord(offset + offsetof(area::IndirectEntry, spare),
                 keyName(fields.key) + ": spare is " + hexNumber(fields.spare, 1) +
                     ", though nothing ever writes it");
    }
    return entry;
  }

  /// Checks that values are packed: each ends where the one above it begins.
  void checkValues() {
    std::vector<AreaEntry*> values;
    for (AreaEntry& entry : _report.entries) {
      if (entry.isIndirect && entry.fault.empty()) values.push_back(&entry);
    }
    std::ranges::stable_sort(values, std::greater<>(), &AreaEntry::valueOffset);
    size_t above = std::min<size_t>(_report.header->area_size, _image.size()) & ~size_t{3};
    const AreaEntry* upper = nullptr;
    for (AreaEntry* entry : values) {
      const size_t end = entry->valueOffset + area::roundUp(entry->valueLength);
      if (end > above && upper) entry->fault = "its value runs into that of " + keyName(upper->key);
      if (end < above) report(end, above - end, "belongs to no sound value and is not free space");
      above = entry->valueOffset;
      upper = entry;
    }
  }

  /// Checks that free space is 0xFF. Reports written bytes close to each other as one finding.
  void checkFreeSpace() {
    constexpr size_t kMaxGap = 16;
    size_t begin = 0, end = 0;
    const auto flush = [&] {
      if (end > begin) report(begin, end - begin, "free space that is not 0xff");
    };
    for (size_t at = _report.freeBegin; at < _report.freeEnd; ++at) {
      if (_image[at] == area::kFreeByte) continue;
      if (end == begin || at > end + kMaxGap) {
        flush();
        begin = at;
      }
      end = at + 1;
    }
    flush();
  }

  /// Marks the entries that a unit finds, by looking them up in the store itself. A lookup returns
  /// the first entry of a key, so a duplicate with the same value stays hidden.
  void lookUpEntries() {
    const MemoryStore store(_image);
    std::set<uint32_t> found;
    std::vector<uint8_t> value(std::max(_image.size(), area::kInlineRoom));
    for (AreaEntry& entry : _report.entries) {
      size_t length = 0;
      if (syscfg__read_key(store.get(), entry.key, value.data(), &length) != 0) continue;
      entry.isFound = _report.isHeaderSound &&
                      std::ranges::equal(std::span(value).first(length), entry.value) &&
                      found.insert(entry.key).second;
    }
  }

  Bytes _image;
  AreaReport _report;
};

}  // namespace

AreaReport reportOnArea(std::span<const uint8_t> image) { return AreaReporter(image).run(); }

std::span<const uint8_t> AreaEntry::writtenValue() const {
  std::span<const uint8_t> written = value;
  while (!isIndirect && !written.empty() && written.back() == area::kFreeByte) {
    written = written.first(written.size() - 1);
  }
  return written;
}

}  // namespace corvane::tools
