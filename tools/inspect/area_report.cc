#include <algorithm>
#include <functional>
#include <set>

#include "platform/number.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

/// Builds a report step by step.
class AreaReporter {
 public:
  explicit AreaReporter(ByteSpan contents)
      : _image(contents.first(std::min<size_t>(contents.size(), kConfigurationAreaSize))) {
    _report.size = _image.size();
    if (contents.size() > _report.size) {
      add(_report.size, contents.size() - _report.size, "lies after the area");
    }
  }

  AreaReport run() {
    if (_image.size() < area::kHeaderSize) {
      add(0, _image.size(), "too short for a header of 24 bytes");
      return _report;
    }
    checkHeader();
    readEntries();
    checkValues();
    checkFreeSpace();
    for (const AreaEntry& entry : _report.entries) {
      if (!entry.fault.empty()) {
        add(entry.offset, area::kEntrySize, keyName(entry.key) + ": " + entry.fault);
      }
    }
    std::ranges::stable_sort(_report.findings, {}, &Finding::offset);
    return _report;
  }

 private:
  void add(size_t offset, size_t length, const std::string& reason) {
    _report.findings.push_back({offset, length, reason});
  }

  void checkHeader() {
    using area::Header;
    const auto header = area::load<Header>(_image.data());
    _report.header = header;
    for (const area::HeaderCheck& check : area::headerChecks()) {
      _report.checks.emplace_back(check.condition, check.holds(header, _image.size()));
    }
    _report.isHeaderSound = area::isHeaderSound(_image.data(), _image.size());

    checkWord("magic", offsetof(Header, magic), header.magic, area::kMagic);
    checkWord("table_end", offsetof(Header, table_end), header.table_end,
              area::entryOffset(header.count),
              ", where " + std::to_string(header.count) + " entries end");
    if (header.area_size == kConfigurationAreaSize && _image.size() < kConfigurationAreaSize) {
      add(_image.size(), kConfigurationAreaSize - _image.size(), "missing");
    } else {
      checkWord("area_size", offsetof(Header, area_size), header.area_size, _image.size());
    }
    checkWord("version", offsetof(Header, version), header.version, area::kVersion,
              " (no unit looks at it)");
    checkWord("reserved", offsetof(Header, reserved), header.reserved, 0);
    checkWord("count", offsetof(Header, count), header.count,
              std::min<size_t>(header.count, area::entryCapacity(_image.size())),
              ", for which there is room");
  }

  /// Reports a word of the header that differs from `expected`; `note` says where that comes from.
  void checkWord(const std::string& name, size_t offset, uint32_t held, size_t expected,
                 const std::string& note = "") {
    if (held == expected) return;
    const bool isSize = name == "table_end" || name == "area_size" || name == "count";
    const auto text = [&](size_t word) {
      return isSize ? std::to_string(word) : hexNumber(word, 1);
    };
    add(offset, sizeof held, name + " is " + text(held) + ", not " + text(expected) + note);
  }

  /// Returns the count in the header or, when the area cannot hold that many, the number of entries
  /// that end at table_end.
  size_t entryCount() const {
    const area::Header& header = *_report.header;
    const size_t capacity = area::entryCapacity(_image.size());
    if (header.count <= capacity) return header.count;
    return std::min(capacity, area::entryCapacity(header.table_end));
  }

  void readEntries() {
    const size_t count = entryCount();
    _report.freeBegin = area::entryOffset(count);
    _report.freeEnd =
        std::clamp(area::freeEnd(_image.data(), count), _report.freeBegin, _image.size());
    std::set<uint32_t> keys;
    for (size_t index = 0; index < count; ++index) {
      AreaEntry entry = readEntry(area::entryOffset(index));
      const size_t begin = std::min(entry.valueOffset, _image.size());
      const auto value = _image.subspan(begin, std::min(entry.valueLength, _image.size() - begin));
      entry.value.assign(value.begin(), value.end());
      // A lookup finds the first entry of a key whose value lies inside the area.
      const bool isFirst = value.size() == entry.valueLength && keys.insert(entry.key).second;
      entry.isFound =
          isFirst && _report.isHeaderSound && unit::valueIn(_image, entry.key) == entry.value;
      if (!isFirst && entry.fault.empty()) {
        entry.fault = "an earlier entry has the same key and hides this one";
      }
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
    const size_t areaEnd = std::min<size_t>(_report.header->area_size, _image.size());
    const auto fault = area::checkValue(fields.offset, fields.length, _report.freeBegin, areaEnd);
    const char* const reason = fault == area::ValueFault::kInsideTable ? "begins inside the table"
                               : fault == area::ValueFault::kOutsideImage ? "ends outside the area"
                               : area::roundUp(fields.length) <= area::kInlineRoom
                                   ? "is so short that it belongs inside the entry"
                               : fields.offset % sizeof(uint32_t) != 0 ? "is not at a whole word"
                                                                       : nullptr;
    if (reason) {
      entry.fault = "its value, " + std::to_string(fields.length) + " bytes at " +
                    std::to_string(fields.offset) + ", " + reason;
    }
    if (fields.spare != 0xFFFFFFFF) {
      add(offset + offsetof(area::IndirectEntry, spare), sizeof fields.spare,
          keyName(fields.key) + ": spare is " + hexNumber(fields.spare, 1) + ", not 0xffffffff");
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
      if (end < above) add(end, above - end, "belongs neither to a sound value nor to free space");
      above = entry->valueOffset;
      upper = entry;
    }
  }

  /// Checks that free space is 0xFF. Bytes close to each other are one finding.
  void checkFreeSpace() {
    constexpr size_t kMaxGap = 16;
    Finding* last = nullptr;
    for (size_t at = _report.freeBegin; at < _report.freeEnd; ++at) {
      if (_image[at] == area::kFreeByte) continue;
      if (!last || at > last->offset + last->length + kMaxGap) {
        last = &_report.findings.emplace_back(Finding{at, 0, "free space that is not 0xff"});
      }
      last->length = at + 1 - last->offset;
    }
  }

  ByteSpan _image;
  AreaReport _report;
};

}  // namespace

AreaReport reportOnArea(ByteSpan contents) { return AreaReporter(contents).run(); }

ByteSpan AreaEntry::writtenValue() const {
  const auto end = std::find_if(value.rbegin(), isIndirect ? value.rbegin() : value.rend(),
                                [](uint8_t byte) { return byte != area::kFreeByte; });
  return ByteSpan(value).first(value.size() - static_cast<size_t>(end - value.rbegin()));
}

}  // namespace corvane::tools
