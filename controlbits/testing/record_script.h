#ifndef CORVANE_CONTROLBITS_TESTING_RECORD_SCRIPT_H_
#define CORVANE_CONTROLBITS_TESTING_RECORD_SCRIPT_H_

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "controlbits/record_chain.h"
#include "platform/text.h"

namespace corvane::testing {

using Bytes = std::vector<uint8_t>;

/// A data set in memory.
class MemoryRecords final : public RecordArea {
 public:
  explicit MemoryRecords(Bytes contents) : bytes(std::move(contents)) {}

  uint32_t read(uint32_t offset, uint32_t length, void* destination) override {
    if (size_t{offset} + length > bytes.size()) return 5;
    std::memcpy(destination, &bytes[offset], length);
    return 0;
  }
  uint32_t write(uint32_t offset, uint32_t length, const void* source) override {
    if (size_t{offset} + length > bytes.size()) return 5;
    std::memcpy(&bytes[offset], source, length);
    ++writes;
    return 0;
  }
  int64_t now() override { return time + writes; }
  void report(CFStringRef, CFStringRef, int32_t) override {}

  Bytes bytes;
  /// What the clock shows: one second more after each write.
  int64_t time = 1000;
  int writes = 0;
};

/// What a chain's bytes must become, in plain arithmetic on them.
template <typename Time>
class ChainModel {
 public:
  explicit ChainModel(Bytes contents) : bytes(std::move(contents)) { walk(); }

  size_t records() const { return _records; }

  /// Appends a record and returns true when there is a slot for it. `text` is the first bytes of
  /// its message, zero byte included.
  bool append(int64_t time, uint8_t station, uint8_t result, const std::string& text) {
    const bool isAfterLast = _isEndedByRecord && _records < 20;
    if (!isAfterLast && !_isEndedByFreeSlot) return false;
    const size_t base = at(isAfterLast ? _records - 1 : _records);
    if (isAfterLast) bytes[base + kFlags] |= 0x40;
    // The time is taken after that write, which the clock counts.
    if (isAfterLast) ++time;

    const size_t slot = at(_records);
    if (slot + kSize <= bytes.size()) {
      std::copy_n(&bytes[base], kSize, &bytes[slot]);
      for (size_t i = 0; i < sizeof(Time); ++i) {
        bytes[slot + i] = static_cast<uint8_t>(time >> (8 * i));
      }
      bytes[slot + sizeof(Time)] = station;
      bytes[slot + kFlags] = static_cast<uint8_t>((bytes[slot + kFlags] & 0x80) + 16 * result);
      std::copy(text.begin(), text.end(), &bytes[slot + kFlags + 1]);
    }
    walk();
    return true;
  }

  Bytes bytes;

 private:
  static constexpr size_t kSize = sizeof(Time) == 8 ? 24 : 16;
  static constexpr size_t kFlags = sizeof(Time) + 1;

  static size_t at(size_t slot) { return 128 + kSize * slot; }

  bool isFree(size_t slot) const {
    for (size_t i = 0; i < sizeof(Time); ++i) {
      if (bytes[at(slot) + i] != (i < 4 ? 0xFF : 0)) return false;
    }
    return (bytes[at(slot) + kFlags] & 0x40) != 0;
  }

  void walk() {
    _isEndedByRecord = _isEndedByFreeSlot = false;
    for (_records = 0; _records < 20 && at(_records) + kSize <= bytes.size();) {
      _isEndedByFreeSlot = isFree(_records);
      if (_isEndedByFreeSlot) return;
      _isEndedByRecord = (bytes[at(_records++) + kFlags] & 0x40) == 0;
      if (_isEndedByRecord) return;
    }
  }

  size_t _records = 0;
  bool _isEndedByRecord = false;
  bool _isEndedByFreeSlot = false;
};

/// Appends a record for every few bytes of `script` to an area of any contents and compares the
/// area with the model, byte for byte. Returns what is wrong, or null.
template <typename Time>
const char* runRecordScript(const Bytes& contents, const Bytes& script) {
  MemoryRecords area(contents);
  ChainModel<Time> model(contents);
  for (size_t next = 0; next + 4 <= script.size();) {
    const uint8_t station = script[next], result = script[next + 1] % 4;
    const int64_t time = script[next + 2] % 8 == 0 ? 0xFFFFFFFF : script[next + 2] * 0x01234567ll;
    area.time = time - area.writes;
    std::vector<UniChar> units(script[next + 3] % (kRecordMessageRoom<Time> + 1));
    next += 4;
    for (UniChar& unit : units) {
      if (next == script.size()) break;
      unit = static_cast<UniChar>(script[next] < 0x80 ? script[next] : script[next] * 0x101);
      ++next;
    }
    const CFRef<CFStringRef> message(CFStringCreateWithCharacters(
        kCFAllocatorDefault, units.data(), static_cast<CFIndex>(units.size())));
    std::string text = utf8Bytes(message.get());
    if (text.size() < units.size()) return "a string has fewer bytes than units";
    text.resize(text.size() + 1);
    text.resize(units.size() + 1);

    const bool isAppended = appendRecord<Time>(area, {station, result - 4, message.get()});
    if (isAppended != model.append(time, station, result, text)) return "the model answers else";
    if (area.bytes != model.bytes) return "the area differs from the model's";
    const CFRef<CFMutableArrayRef> list = listRecords<Time>(area);
    if (CFArrayGetCount(list.get()) != static_cast<CFIndex>(model.records())) {
      return "the list differs from the model's";
    }
    if (readChain<Time>(area.bytes).records.size() != model.records()) {
      return "the contents differ from the model's";
    }
  }
  return nullptr;
}

}  // namespace corvane::testing

#endif  // CORVANE_CONTROLBITS_TESTING_RECORD_SCRIPT_H_
