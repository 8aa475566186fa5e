#ifndef CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
#define CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "controlbits/diagnostic_record.h"
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
  std::string message;
};

/// What the bytes of the data set "VelmoDiagnosticData" hold, whatever state they are in.
struct DiagnosticReport {
  /// Width of a record's time value, 64 or 32: the one that makes more sense of the bytes.
  int timeBits = 0;
  /// How much sense: sound records and free slots, less what is neither.
  int plausibility = 0;
  /// The control-bit bytes that are not 0xFF.
  std::vector<WrittenByte> controlBits;
  std::vector<RecordLine> records;
  /// By offset.
  std::vector<Finding> damages;
};

DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents);

/// The report for records whose time value has `timeBits` bits, 64 or 32.
DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents, int timeBits);

/// "2026-11-16 08:30:00 UTC"; "(no time)" when it is none that a clock shows.
std::string timeText(int64_t time);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
