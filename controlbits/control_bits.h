#ifndef CORVANE_CONTROLBITS_CONTROL_BITS_H_
#define CORVANE_CONTROLBITS_CONTROL_BITS_H_

#include <cstdint>

#include "../platform/export.h"
#include "control_bit_byte.h"

namespace corvane {

/// A unit's test-status bytes in the data set "VelmoDiagnosticData". A program calls `getReady`
/// once, before anything else here. The writers return nothing: what they did, and what failed, is
/// in the test log under "Control Bits". Nothing is locked; callers serialise their calls.
class CORVANE_EXPORT ControlBits {
 public:
  ControlBits() = delete;

  /// Finds the data area (`gMasterPort`, `gDataArea`) and proves that it can be read. 0 when ready;
  /// 1 without a master port, 2 without a data area, 3 when the read fails, each with a line on
  /// standard error.
  static int32_t getReady();

  /// Reads `bufferLen` bytes from the start of the configuration area ("VelmoDiagnosticDataSysCfg")
  /// or of the control-bit bytes ("VelmoDiagnosticData"). 0, or 5 as `readBits` fails.
  static int32_t readSysCfgBytes(uint8_t* buffer, uint16_t bufferLen);
  static int32_t readControlBitsBytes(uint8_t* buffer, uint16_t bufferLen);

  /// Reads the first 103 control-bit bytes and throws them away.
  static void readArea();

  /// Sets the control-bit byte at `offset`: `status` 0 to 3 (a CorvaneControlBitStatus), or 4 to
  /// leave the status as it is; `count` 0 to 7, or any other value to leave the fail count as it
  /// is. The byte is written only when it changed, or when `status` is odd and `count` is not 0
  /// to 7. A byte that cannot be read is taken as 0xFF.
  static void writeControlBits(int32_t offset, int32_t status, int32_t count);

  /// Sets the status of the test suite's own byte, at offset 18; a CorvaneControlBitStatus. Another
  /// value is reported in the log and written all the same.
  static void writeCorvaneStatus(int32_t status);

  /// Sets the status of the log-collection byte, at offset 9; a LogCollectionControlBitStatus.
  /// Another value is reported in the log and written all the same.
  static void writeLogCollectionStatus(int32_t status);
};

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_CONTROL_BITS_H_
