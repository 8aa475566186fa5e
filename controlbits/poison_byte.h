#ifndef CORVANE_CONTROLBITS_POISON_BYTE_H_
#define CORVANE_CONTROLBITS_POISON_BYTE_H_

#include "controlbits/control_bit_byte.h"
#include "controlbits/diagnostic_record.h"

namespace corvane {

/// Returns whether a poison byte at `offset` lies among the control-bit bytes; from 128 on it lies
/// among the records.
constexpr bool isControlBitOffset(uint8_t offset) { return offset < kFirstRecordOffset; }

/// Returns the byte that sets a poison byte (status failed) or clears it (status passed, or all
/// bits among the records). Its fail count is 0 and its bits 5-7 are set.
constexpr uint8_t poisonByte(uint8_t offset, bool isSet) {
  if (isSet) return 0xFE;
  return isControlBitOffset(offset) ? 0xFC : 0xFF;
}

/// Returns whether `byte` at `offset` marks the unit as failed.
constexpr bool isPoisoned(uint8_t offset, uint8_t byte) {
  return isControlBitOffset(offset) ? testStatusOf(byte) == kCorvaneControlBitsFailed
                                    : byte == poisonByte(offset, true);
}

/// Returns whether the mark can be neither set again nor cleared.
constexpr bool isPoisonFinal(uint8_t offset, uint8_t byte) {
  return isControlBitOffset(offset) && isPoisoned(offset, byte);
}

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_POISON_BYTE_H_
