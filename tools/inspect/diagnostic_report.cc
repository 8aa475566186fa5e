#include "tools/inspect/diagnostic_report.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "controlbits/record_chain.h"
#include "platform/printable.h"
#include "platform/text.h"

namespace corvane::tools {
namespace {

using Bytes = std::span<const uint8_t>;

/// Returns whether a station's clock can show the time.
constexpr bool isClockTime(int64_t time) { return time >= 0 && time <= int64_t{kFreeSlotTime}; }

bool isFilledWith(Bytes bytes, uint8_t byte) {
  return std::ranges::all_of(bytes, [byte](uint8_t each) { return each == byte; });
}

/// Builds a report step by step.
template <typename Time>
class DiagnosticReporter {
 public:
  explicit DiagnosticReporter(Bytes contents) : _contents(contents) {}

  DiagnosticReport run() {
    _report.timeBits = 8 * sizeof(Time);
    _report.recordSize = sizeof(Record);
    readControlBits();
    if (_contents.size() < slotOffset<Time>(kRecordSlots)) {
      report(_contents.size(), slotOffset<Time>(kRecordSlots) - _contents.size(),
             "missing: the dump ends before the record slots do");
    }
    readRecords();
    checkSlotsAfterRecords();
    std::ranges::stable_sort(_report.findings, {}, &Finding::offset);
    return _report;
  }

 private:
  using Record = DiagnosticRecord<Time>;

  void report(size_t offset, size_t length, const std::string& reason) {
    _report.findings.push_back({offset, length, reason});
  }

  void readControlBits() {
    const size_t count = std::min<size_t>(_contents.size(), kFirstRecordOffset);
    for (size_t offset = 0; offset < count; ++offset) {
      if (_contents[offset] != 0xFF) _report.controlBits.push_back({offset, _contents[offset]});
    }
  }

  void readRecords() {
    const auto chain = readChain<Time>(_contents);
    for (size_t slot = 0; slot < chain.records.size(); ++slot) {
      _report.records.push_back(recordOf(slot, chain.records[slot]));
      _report.plausibility += checkRecord(slot, chain.records[slot]) ? 1 : -1;
    }
    const bool isCut = chain.end == ChainEnd::kFreeSlot || chain.end == ChainEnd::kLastSlot;
    if (isCut && !chain.records.empty()) {
      report(slotOffset<Time>(chain.records.size() - 1) + offsetof(Record, flags), 1,
             "record " + std::to_string(chain.records.size()) +
                 " says that another one follows, but the chain ends");
    }
  }

  static unit::Record recordOf(size_t slot, const Record& record) {
    const char* const begin = std::begin(record.message);
    return {.time = record.time,
            .station = record.station,
            .version = static_cast<uint8_t>(versionOf(record)),
            .result = static_cast<uint8_t>(resultOf(record)),
            .flags = record.flags,
            .message = {begin, std::find(begin, std::end(record.message), '\0')},
            .slot = slot,
            .offset = slotOffset<Time>(slot)};
  }

  /// Reports what no station writes into a record. Returns whether the record is sound.
  bool checkRecord(size_t slot, const Record& record) {
    const size_t offset = slotOffset<Time>(slot);
    const std::string name = "record " + std::to_string(slot + 1) + ": ";
    const size_t findingsBefore = _report.findings.size();
    if (!isClockTime(record.time)) {
      report(offset, sizeof(Time),
             name + "its time, " + std::to_string(record.time) + ", is not a clock's");
    } else if (record.time == int64_t{kFreeSlotTime}) {
      report(offset, sizeof(Time), name + "its time, 4294967295, marks a free slot");
    }
    if (versionOf(record) != 0) {
      report(offset + offsetof(Record, flags), 1,
             name + "its version is " + std::to_string(versionOf(record)) + ", not 0");
    }
    const std::string message = utf8Bytes(messageOf(record).get());
    if (!isPlainText({reinterpret_cast<const uint8_t*>(message.data()), message.size()})) {
      report(offset + offsetof(Record, message), sizeof(record.message),
             name + "its message holds control characters");
    }
    return _report.findings.size() == findingsBefore;
  }

  /// Checks that the other slots are free, or were never prepared for records.
  void checkSlotsAfterRecords() {
    for (size_t slot = _report.records.size(); slot < kRecordSlots; ++slot) {
      const auto record = recordInSlot<Time>(_contents, slot);
      if (!record) return;
      const Bytes bytes = _contents.subspan(slotOffset<Time>(slot), sizeof(Record));
      if (isFreeSlot(*record)) {
        ++_report.plausibility;
      } else if (!isFilledWith(bytes, 0xFF) && !isFilledWith(bytes, 0)) {
        --_report.plausibility;
        report(slotOffset<Time>(slot), sizeof(Record),
               "slot " + std::to_string(slot + 1) + " lies after the last record and is not free");
      }
    }
  }

  Bytes _contents;
  DiagnosticReport _report;
};

}  // namespace

DiagnosticReport reportOnDiagnosticData(Bytes contents) {
  DiagnosticReport wide = DiagnosticReporter<int64_t>(contents).run();
  DiagnosticReport narrow = DiagnosticReporter<int32_t>(contents).run();
  return narrow.plausibility > wide.plausibility ? narrow : wide;
}

DiagnosticReport reportOnDiagnosticData(Bytes contents, int timeBits) {
  return timeBits == 32 ? DiagnosticReporter<int32_t>(contents).run()
                        : DiagnosticReporter<int64_t>(contents).run();
}

}  // namespace corvane::tools
