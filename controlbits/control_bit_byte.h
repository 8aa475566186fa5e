#ifndef CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_
#define CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_

#include <stdint.h>

#include "../platform/export.h"

/// The control-bit byte that a station keeps in the data area: bits 0-1 its test status, bits 2-4
/// its fail count as a code, bits 5-7 not interpreted.
CORVANE_EXTERN_C_BEGIN

/// Test status, bits 0-1.
typedef enum CorvaneControlBitStatus {
  kCorvaneCotnrolBitsPassed = 0,  // The name's spelling is part of the interface.
  kCorvaneControlBitsIncompleteTest = 1,
  kCorvaneControlBitsFailed = 2,
  kCorvaneControlBitsNotTested = 3
} CorvaneControlBitStatus;

/// What the log-collection byte holds in its bits 0-1.
typedef enum LogCollectionControlBitStatus {
  kLogCollectionControlBitsComplete = 0,
  kLogCollectionControlBitsIncomplete = 1
} LogCollectionControlBitStatus;

/// The code that stands in bits 2-4 for a fail count of 0 to 7. From 0 to 3 each step clears one
/// bit, so that a flash cell need not be erased to count up.
extern CORVANE_EXPORT const uint32_t gFailCountMap[8];

/// Puts `status` into bits 0-1 of `*byte` unless they hold it already; 1 when the byte was changed,
/// else 0. A status above 3 is not cut to two bits and sets the bits above them as well.
CORVANE_EXPORT uint32_t changeTestStatus(uint8_t* byte, uint32_t status);

/// Puts `code`, a value of `gFailCountMap`, into bits 2-4 of `*byte` unless they hold it already; 1
/// when the byte was changed, else 0. A code above 7 is not cut and spills into bits 5-7.
CORVANE_EXPORT uint32_t changeFailCount(uint8_t* byte, uint32_t code);

CORVANE_EXTERN_C_END

#ifdef __cplusplus
namespace corvane {

inline constexpr uint32_t kTestStatusMask = 0x03;
inline constexpr uint32_t kFailCountMask = 0x1C;
inline constexpr uint32_t kFailCountShift = 2;

/// The test status in bits 0-1.
constexpr uint32_t testStatusOf(uint8_t byte) { return byte & kTestStatusMask; }
/// The fail-count code in bits 2-4.
constexpr uint32_t failCountCodeOf(uint8_t byte) {
  return (byte & kFailCountMask) >> kFailCountShift;
}

}  // namespace corvane
#endif

#endif  // CORVANE_CONTROLBITS_CONTROL_BIT_BYTE_H_
