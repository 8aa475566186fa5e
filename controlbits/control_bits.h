#ifndef CORVANE_CONTROLBITS_CONTROL_BITS_H_
#define CORVANE_CONTROLBITS_CONTROL_BITS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "../dataarea/nor_access.h"
#include "../platform/cf_ref.h"
#include "../platform/export.h"
#include "control_bit_byte.h"

namespace corvane {

/// What stations keep on a unit: test-status bytes, poison bytes and diagnostic records in the data
/// set "VelmoDiagnosticData", and the keys of the configuration area. A program calls `getReady`
/// once, before anything else here. A writer that returns nothing leaves what it did, and what
/// failed, in the test log under "Control Bits". Nothing is locked; callers serialise their calls.
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

  /// The four below open the key store of the configuration area ("VelmoDiagnosticDataSysCfg"), do
  /// one thing and close it. An area without a sound header is an empty store. An area that cannot
  /// be read or written is reported in the system log only, and the work goes on with what was last
  /// read. A key is four characters, the first in the most significant byte.

  /// Fills `keys`, an array of `size` entries, in the order the keys were added, and returns their
  /// number. -1, with nothing stored, when there are more than `size`; a negative `size` counts as
  /// a very large one.
  static int32_t readSystemConfigKeys(uint32_t* keys, int32_t size);

  /// Copies the value of `key` to `buffer` and returns its length; 0, with nothing stored, when the
  /// key is not present. `buffer` must have room for the whole value, and for 16 bytes at least: a
  /// value written with at most 16 bytes reads back as 16.
  static int32_t readSystemConfig(uint8_t* buffer, uint32_t key);

  /// Gives `key` a copy of the `bufferlen` bytes at `buffer` as its value and returns `bufferlen`.
  /// 0 when the value does not fit; the key is then absent, whatever it had before.
  static int32_t writeSystemConfig(const uint8_t* buffer, int32_t bufferlen, uint32_t key);

  /// Removes `key`. 1, or 0 when it is not present; the area is written back in either case.
  static int32_t deleteSystemConfig(uint32_t key);

  /// Marks the unit as failed in the poison byte at `offset`, or clears the mark. A byte below
  /// offset 128 whose status is failed already is left as it is, which only the system log tells.
  static void writePoisonByte(uint8_t offset, bool setPoisonByte);

  /// The chain of diagnostic records, first to last: a new list of one dictionary each, of the
  /// entries "time" (string, as `ctime` shows it in local time, with its line feed; empty when it
  /// cannot), "station", "version", "result" (numbers, signed 32-bit) and "message" (string; bytes
  /// that are not UTF-8 are taken as Latin-1). Ends before a record that cannot be read, with a
  /// line in the log. Null when no list can be made.
  static CFRef<CFMutableArrayRef> readDiagnosticRecord();

  /// Appends a record of now to the chain of at most 20: `station`, the two low bits of
  /// `testResult`, and `diagnosticData`, a text of at most 13 characters (9 where the platform's
  /// time value has 32 bits); an absent one is empty. The record has room for one byte a character:
  /// a character that takes more in UTF-8 cuts the text short. A longer text ends the process, with
  /// the record before it marked as continued by then. False when there is no slot left or a slot
  /// cannot be read, else true, also when writing failed; the log tells.
  static bool writeDiagnosticsRecord(uint8_t station, int32_t testResult,
                                     CFStringRef diagnosticData);
};

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_CONTROL_BITS_H_
