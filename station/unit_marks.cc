#include "station/unit_marks.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>

#include "controlbits/control_bits.h"
#include "dataarea/bits.h"
#include "platform/text.h"
#include "syscfg/memory_store.h"

namespace corvane::station {
namespace {

const CFStringRef kDiagnosticSet = CFSTR("VelmoDiagnosticData");
const CFStringRef kConfigurationSet = CFSTR("VelmoDiagnosticDataSysCfg");
constexpr uint32_t kConfigurationSize = kConfigurationAreaSize;

std::string hex(uint32_t value, int digits = 2) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

/// Returns "; the write was refused with ..." for a result of `writeBits` that is not 0.
std::string refusal(uint32_t result) {
  return result == 0 ? "" : "; the write was refused with " + hex(result);
}

uint32_t packKey(std::string_view name) {
  uint32_t key = 0;
  for (const char character : name.substr(0, 4)) key = key << 8 | static_cast<uint8_t>(character);
  return key;
}

std::vector<uint8_t> readConfiguration() {
  std::vector<uint8_t> area(kConfigurationSize);
  if (readBits(0, kConfigurationSize, area.data(), kConfigurationSet) != 0) {
    throw UntrustedUnit("the configuration area cannot be read");
  }
  return area;
}

/// Returns the value of `key`; nothing when it is not present.
std::optional<std::vector<uint8_t>> valueOf(const MemoryStore& store, uint32_t key) {
  std::vector<uint8_t> value(kConfigurationSize);
  size_t length = 0;
  if (syscfg__read_key(store.get(), key, value.data(), &length) != 0) return std::nullopt;
  value.resize(length);
  return value;
}

/// Returns whether the area is a key store with a consistent header, so that a new key lands in
/// free space: it opens unchanged, and adding and removing a key restores the header.
bool isStore(const std::vector<uint8_t>& area) {
  constexpr size_t kHeaderSize = 24;
  constexpr uint32_t kKeyOfNobody = 0xFFFFFFFE;
  const uint8_t value[4] = {};
  MemoryStore store(area);
  if (!std::ranges::equal(store.image(), area)) return false;
  if (syscfg__add_key(store.get(), kKeyOfNobody, value, sizeof value) == 0) {
    syscfg__del_key(store.get(), kKeyOfNobody);
  }
  return std::ranges::equal(store.image().first(kHeaderSize), std::span(area).first(kHeaderSize));
}

int numberIn(CFDictionaryRef record, CFStringRef key) {
  int32_t value = -1;
  if (const void* number = CFDictionaryGetValue(record, key)) {
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &value);
  }
  return value;
}

std::string textIn(CFDictionaryRef record, CFStringRef key) {
  return utf8Bytes(static_cast<CFStringRef>(CFDictionaryGetValue(record, key)));
}

/// Returns a time as the library lists it in a record.
std::string recordTime(time_t time) {
  char text[64] = "";
  return ::ctime_r(&time, text) ? text : "";
}

/// Returns the string that makes the library write all of `text`: it writes one byte for each
/// UTF-16 unit and a zero, so zeros are appended for characters that take more bytes than units.
CFRef<CFStringRef> recordMessage(const std::string& text) {
  const CFRef<CFStringRef> bare = textFromBytes(text);
  const size_t units = bare ? static_cast<size_t>(CFStringGetLength(bare.get())) : text.size();
  return textFromBytes(text + std::string(text.size() - std::min(units, text.size()), '\0'));
}

std::string shown(const Record& record) {
  const std::string time = record.time.substr(0, record.time.find('\n'));
  return "station " + std::to_string(record.station) + ", result " + std::to_string(record.result) +
         ", \"" + record.message + "\", " + (time.empty() ? "no time" : time);
}

}  // namespace

uint8_t readUnitByte(uint32_t offset) {
  uint8_t byte = 0;
  if (readBits(offset, 1, &byte, kDiagnosticSet) != 0) {
    throw UntrustedUnit("byte " + std::to_string(offset) + " cannot be read");
  }
  return byte;
}

const char* statusName(uint8_t controlBitByte) {
  static const char* const kNames[] = {"passed", "incomplete", "failed", "not-tested"};
  return kNames[testStatusOf(controlBitByte)];
}

void MarkedByte::write(uint8_t value) {
  const uint32_t result = writeBits(_offset, 1, &value, 1, kDiagnosticSet);
  _value = value;
  const uint8_t held = readUnitByte(_offset);
  if (held == value) return;
  throw UntrustedUnit("byte " + std::to_string(_offset) + " holds " + hex(held) + " instead of " +
                      hex(value) + refusal(result));
}

void MarkedByte::verify() const {
  const uint8_t held = readUnitByte(_offset);
  if (held == _value) return;
  throw UntrustedUnit("byte " + std::to_string(_offset) + " holds " + hex(held) + " instead of " +
                      hex(_value) + ", which it held before");
}

RunCounter::RunCounter(std::string_view key)
    : _name(key), _key(packKey(key)), _area(readConfiguration()) {
  const bool isBlank = std::ranges::count(_area, _area[0]) == static_cast<ptrdiff_t>(_area.size());
  if (!isBlank && !isStore(_area)) {
    throw UntrustedUnit("the configuration area holds no key store: its header is damaged");
  }
  const MemoryStore store(_area);
  const auto value = valueOf(store, _key);
  if (!value) return;
  constexpr size_t kInlineSize = 16;
  if (value->size() != kInlineSize) {
    throw UntrustedUnit("key " + _name + " holds " + std::to_string(value->size()) +
                        " bytes, which is no run count");
  }
  for (size_t i = 4; i-- > 0;) _count = _count << 8 | (*value)[i];
}

void RunCounter::increase() {
  const uint32_t count = _count + 1;
  uint8_t value[4];
  for (size_t i = 0; i < sizeof value; ++i) value[i] = static_cast<uint8_t>(count >> (8 * i));

  MemoryStore store(_area);
  if (syscfg__add_key(store.get(), _key, value, sizeof value) != 0) {
    throw UntrustedUnit("the configuration area has no room for key " + _name);
  }
  // Not through the facade: it reads the area again, and would store whatever a failed read left.
  const std::vector<uint8_t> meant(store.image().begin(), store.image().end());
  const uint32_t result = writeBits(0, kConfigurationSize, meant.data(), 1, kConfigurationSet);
  const std::vector<uint8_t> held = readConfiguration();
  if (held != meant) {
    const RunCounter now(_name);
    const size_t first = static_cast<size_t>(std::ranges::mismatch(held, meant).in1 - held.begin());
    throw UntrustedUnit("key " + _name + " holds " + std::to_string(now.count()) + " instead of " +
                        std::to_string(count) + "; byte " + std::to_string(first) +
                        " of the configuration area holds " + hex(held[first]) + " instead of " +
                        hex(meant[first]) + refusal(result));
  }
  _area = meant;
  _count = count;
}

std::string readKeyText(std::string_view key) {
  const std::vector<uint8_t> area = readConfiguration();
  std::string text;
  for (const uint8_t byte :
       valueOf(MemoryStore(area), packKey(key)).value_or(std::vector<uint8_t>{})) {
    if (byte == 0 || byte == 0xFF) break;
    text += static_cast<char>(byte);
  }
  return text;
}

std::vector<Record> readRecords() {
  const CFRef<CFMutableArrayRef> list = ControlBits::readDiagnosticRecord();
  if (!list) throw UntrustedUnit("the diagnostic records cannot be read");
  std::vector<Record> records;
  for (CFIndex i = 0; i < CFArrayGetCount(list.get()); ++i) {
    const auto entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list.get(), i));
    records.push_back({textIn(entry, CFSTR("time")), numberIn(entry, CFSTR("station")),
                       numberIn(entry, CFSTR("version")), numberIn(entry, CFSTR("result")),
                       textIn(entry, CFSTR("message"))});
  }
  return records;
}

Record appendRecord(const std::vector<Record>& before, uint8_t station,
                    CorvaneControlBitStatus result, const std::string& text) {
  const std::string number = std::to_string(before.size() + 1);
  const time_t earliest = std::time(nullptr);
  const bool hasSlot =
      ControlBits::writeDiagnosticsRecord(station, result, recordMessage(text).get());
  // A write takes less than a minute; a later time is of a clock that was set, or cannot be read.
  const time_t latest = std::min(std::time(nullptr), earliest + 60);

  const std::vector<Record> after = readRecords();
  if (after.size() != before.size() + 1 ||
      !std::equal(before.begin(), before.end(), after.begin())) {
    throw UntrustedUnit("record " + number + " is missing: the chain holds " +
                        std::to_string(after.size()) + " records" +
                        (after.empty() ? "" : ", the last of " + shown(after.back())) +
                        (hasSlot ? "" : "; no slot was found for it"));
  }
  const Record& held = after.back();
  Record meant{held.time, station, 0, result, text};
  bool isOfNow = false;
  for (time_t time = earliest; time <= latest; ++time) isOfNow |= recordTime(time) == held.time;
  if (!isOfNow) meant.time = recordTime(latest);
  if (held == meant) return held;
  throw UntrustedUnit("record " + number + " holds " + shown(held) + " instead of " + shown(meant));
}

}  // namespace corvane::station
