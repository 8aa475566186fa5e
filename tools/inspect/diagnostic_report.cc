#include <algorithm>
#include <iterator>

#include "controlbits/record_chain.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

bool isFilledWith(ByteSpan bytes, uint8_t byte) {
  return std::ranges::all_of(bytes, [byte](uint8_t each) { return each == byte; });
}

/// Builds a report step by step.
template <typename Time>
class DiagnosticReporter {
 public:
  explicit DiagnosticReporter(ByteSpan contents) : _contents(contents) {}

  DiagnosticReport run() {
    _report.timeBits = 8 * sizeof(Time);
    _report.recordSize = sizeof(Record);
    for (size_t at = 0; at < std::min<size_t>(_contents.size(), kFirstRecordOffset); ++at) {
      if (_contents[at] != 0xFF) _report.controlBits.push_back({at, _contents[at]});
    }
    const size_t end = slotOffset<Time>(kRecordSlots);
    if (_contents.size() < end) {
      add(_contents.size(), end - _contents.size(),
          "missing: the dump ends before the record slots do");
    }
    readRecords();
    checkSlotsAfterRecords();
    std::ranges::stable_sort(_report.findings, {}, &Finding::offset);
    return _report;
  }

 private:
  using Record = DiagnosticRecord<Time>;

  void add(size_t offset, size_t length, const std::string& reason) {
    _report.findings.push_back({offset, length, reason});
  }

  void readRecords() {
    const auto chain = readChain<Time>(_contents);
    for (const Record& record : chain.records) {
      const size_t slot = _report.records.size();
      const char* const begin = std::begin(record.message);
      _report.records.push_back(
          {.time = record.time,
           .station = record.station,
           .version = static_cast<uint8_t>(versionOf(record)),
           .result = static_cast<uint8_t>(resultOf(record)),
           .flags = record.flags,
           .message = {begin, std::find(begin, std::end(record.message), '\0')},
           .slot = slot,
           .offset = slotOffset<Time>(slot)});
      _report.plausibility += checkRecord(slot, record) ? 1 : -1;
    }
    const bool isCut = chain.end == ChainEnd::kFreeSlot || chain.end == ChainEnd::kLastSlot;
    if (isCut && !chain.records.empty()) {
      add(_report.records.back().offset + offsetof(Record, flags), 1,
          "record " + std::to_string(chain.records.size()) +
              " says that another one follows, but the chain ends");
    }
  }

  /// Reports what no station writes into a record. Returns whether the record is sound.
  bool checkRecord(size_t slot, const Record& record) {
    const size_t offset = slotOffset<Time>(slot);
    const std::string name = "record " + std::to_string(slot + 1) + ": its ";
    const size_t findingsBefore = _report.findings.size();
    // The highest time marks a free slot.
    if (record.time < 0 || record.time >= int64_t{kFreeSlotTime}) {
      add(offset, sizeof(Time),
          name + "time, " + std::to_string(record.time) + ", is out of range");
    }
    if (versionOf(record) != 0) {
      add(offset + offsetof(Record, flags), 1,
          name + "version is " + std::to_string(versionOf(record)) + ", not 0");
    }
    const std::string message = utf8Bytes(messageOf(record).get());
    if (!isPlainText({reinterpret_cast<const uint8_t*>(message.data()), message.size()})) {
      add(offset + offsetof(Record, message), sizeof(record.message),
          name + "message holds control characters");
    }
    return _report.findings.size() == findingsBefore;
  }

  /// Checks that the other slots are free, or were never prepared for records.
  void checkSlotsAfterRecords() {
    for (size_t slot = _report.records.size(); slot < kRecordSlots; ++slot) {
      const auto record = recordInSlot<Time>(_contents, slot);
      if (!record) return;
      const ByteSpan bytes = _contents.subspan(slotOffset<Time>(slot), sizeof(Record));
      if (isFreeSlot(*record)) {
        ++_report.plausibility;
      } else if (!isFilledWith(bytes, 0xFF) && !isFilledWith(bytes, 0)) {
        --_report.plausibility;
        add(slotOffset<Time>(slot), sizeof(Record),
            "slot " + std::to_string(slot + 1) + " lies after the last record and is not free");
      }
    }
  }

  ByteSpan _contents;
  DiagnosticReport _report;
};

}  // namespace

DiagnosticReport reportOnDiagnosticData(ByteSpan contents) {
  DiagnosticReport wide = DiagnosticReporter<int64_t>(contents).run();
  DiagnosticReport narrow = DiagnosticReporter<int32_t>(contents).run();
  return narrow.plausibility > wide.plausibility ? narrow : wide;
}

}  // namespace corvane::tools
