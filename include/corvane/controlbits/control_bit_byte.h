#ifndef CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_
#define CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_

/// @file
/// The control-bit byte that a station keeps in the data area: bits 0-1 hold its test status, bits
/// 2-4 its fail count as a code; bits 5-7 are not interpreted.

#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Test status, bits 0-1.
typedef enum CorvaneControlBitStatus {
  kCorvaneCotnrolBitsPassed = 0,  // The name's spelling is part of the interface.
  kCorvaneControlBitsIncompleteTest = 1,
  kCorvaneControlBitsFailed = 2,
  kCorvaneControlBitsNotTested = 3
} CorvaneControlBitStatus;

/// Log-collection status, bits 0-1 of the log-collection byte.
typedef enum LogCollectionControlBitStatus {
  kLogCollectionControlBitsComplete = 0,
  kLogCollectionControlBitsIncomplete = 1
} LogCollectionControlBitStatus;

/// The code of each fail count from 0 to 7. From 0 to 3 each step clears one bit, so that a flash
/// cell need not be erased to count up.
extern CORVANE_EXPORT const uint32_t gFailCountMap[8];

/// Stores `status` in bits 0-1 of `*byte` unless they hold it already. Returns 1 when the byte was
/// changed, else 0. A status above 3 is not cut to two bits: it also sets the bits above them, and
/// always counts as a change.
CORVANE_EXPORT uint32_t changeTestStatus(uint8_t* byte, uint32_t status);

/// Stores `code`, a value of `gFailCountMap` and not a count, in bits 2-4 of `*byte` unless they
/// hold it already. Returns 1 when the byte was changed, else 0. A code above 7 is not cut: it also
/// sets bits 5-7, and always counts as a change.
CORVANE_EXPORT uint32_t changeFailCount(uint8_t* byte, uint32_t code);

CORVANE_EXTERN_C_END

#ifdef __cplusplus
/// What C++ programs use.
namespace corvane {

/// Offsets of the two control-bit bytes that have a fixed use, in the data set
/// "VelmoDiagnosticData".
/// @{
inline constexpr uint32_t kLogCollectionOffset = 9;
inline constexpr uint32_t kSuiteStatusOffset = 18;
/// @}

/// Where status and fail-count code lie in a control-bit byte.
/// @{
inline constexpr uint32_t kTestStatusMask = 0x03;
inline constexpr uint32_t kFailCountMask = 0x1C;
inline constexpr uint32_t kFailCountShift = 2;
/// @}

/// Returns the test status in bits 0-1 of `byte`.
constexpr uint32_t testStatusOf(uint8_t byte) { return byte & kTestStatusMask; }
/// Returns the fail-count code in bits 2-4 of `byte`.
constexpr uint32_t failCountCodeOf(uint8_t byte) {
  return (byte & kFailCountMask) >> kFailCountShift;
}
/// Returns the fail count, 0 to 7, that the code in bits 2-4 of `byte` stands for: the inverse of
/// `gFailCountMap`.
inline int32_t failCountOf(uint8_t byte) {
  int32_t count = 0;
  while (gFailCountMap[count] != failCountCodeOf(byte)) ++count;
  return count;
}

}  // namespace corvane
#endif

#endif  // CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_
