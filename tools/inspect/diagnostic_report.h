#ifndef CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
#define CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "controlbits/diagnostic_record.h"
#include "platform/text.h"
#include "tools/inspect/finding.h"

namespace corvane::tools {

struct WrittenByte {
  size_t offset;
  uint8_t byte;
};

/// A diagnostic record, of either time width.
struct RecordLine {
  size_t offset;
  int64_t time;
  uint8_t station;
  int32_t version;
  int32_t result;
  /// As the library returns it: bytes that are not UTF-8 are taken as Latin-1.
  std::string message;
  /// The message's bytes as they are in the slot.
  std::string bytes;
};

template <typename Time>
RecordLine recordLine(size_t slot, const DiagnosticRecord<Time>& record) {
  const char* begin = std::begin(record.message);
  return {slotOffset<Time>(slot),
          record.time,
          record.station,
          versionOf(record),
          resultOf(record),
          utf8Bytes(messageOf(record).get()),
          {begin, std::find(begin, std::end(record.message), '\0')}};
}

/// What the bytes of the data set "VelmoDiagnosticData" hold, in whatever state they are.
struct DiagnosticReport {
  /// Width of a record's time value in bits, 64 or 32: the one that makes more sense of the bytes.
  int timeBits = 0;
  /// Size of a slot in bytes.
  size_t recordSize = 0;
  /// The number of sound records and free slots, minus the number of slots that are neither.
  int plausibility = 0;
  /// The control-bit bytes that are not 0xFF.
  std::vector<WrittenByte> controlBits;
  std::vector<RecordLine> records;
  /// By offset.
  std::vector<Finding> findings;
};

DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents);

/// Returns the report for records whose time value has `timeBits` bits, 64 or 32.
DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents, int timeBits);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
