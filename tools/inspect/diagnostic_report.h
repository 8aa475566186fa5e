#ifndef CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
#define CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_

#include <cstdint>
#include <span>
#include <vector>

#include "tools/control_bit_text.h"
#include "tools/inspect/finding.h"
#include "unit/records.h"

namespace corvane::tools {

/// What the bytes of the data set "VelmoDiagnosticData" hold, damaged or not.
struct DiagnosticReport {
  /// Width of a record's time value in bits, 64 or 32: the one that makes more sense of the bytes.
  int timeBits = 0;
  /// Size of a slot in bytes.
  size_t recordSize = 0;
  /// The number of sound records and free slots, minus the number of slots that are neither.
  int plausibility = 0;
  /// Those that are not 0xFF.
  std::vector<ControlBit> controlBits;
  std::vector<unit::Record> records;
  /// By offset.
  std::vector<Finding> findings;
};

DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents);

/// Returns the report for records whose time value has `timeBits` bits, 64 or 32.
DiagnosticReport reportOnDiagnosticData(std::span<const uint8_t> contents, int timeBits);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DIAGNOSTIC_REPORT_H_
