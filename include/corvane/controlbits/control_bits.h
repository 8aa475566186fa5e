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
/// once, before anything else here. Nothing is locked; callers serialise their calls.
///
/// An operation that returns nothing leaves what it did, and what failed, in the test log under the
/// test name "Control Bits". Lines without a test name are those about the read-back of a write: a
/// byte that reads back differently ("writeBits verification failed ...") is reported there and
/// nowhere else, and is not a failure. So a station that must be sure reads the byte itself.
class CORVANE_EXPORT ControlBits {
 public:
  ControlBits() = delete;

  /// Finds the data area (`gMasterPort`, `gDataArea`) and proves that it can be read. Returns 0
  /// when ready; 1 without a master port, 2 without a data area, 3 when the read fails, each after
  /// a line on standard error. Each call takes a further handle of the data area and never releases
  /// it.
  static int32_t getReady();

  /// Read `bufferLen` bytes to `buffer` from the start of the configuration area
  /// ("VelmoDiagnosticDataSysCfg") or of the control-bit bytes ("VelmoDiagnosticData"). Return 0,
  /// or 5 as `readBits` does.
  /// @{
  static int32_t readSysCfgBytes(uint8_t* buffer, uint16_t bufferLen);
  static int32_t readControlBitsBytes(uint8_t* buffer, uint16_t bufferLen);
  /// @}

  /// Reads the first 103 control-bit bytes and drops them.
  static void readArea();

  /// Sets the control-bit byte at `offset`, 0 to 127: from 128 on lie the diagnostic records, and a
  /// byte there belongs to one. `status` is 0 to 3 (a CorvaneControlBitStatus), or 4 to leave the
  /// status as it is; another value is not cut to two bits and also sets the bits above them.
  /// `count` is 0 to 7; any other value leaves the fail count as it is. The byte is written only
  /// when it changed, or when `status` is odd and `count` is not 0 to 7. A byte that cannot be read
  /// is taken as 0xFF.
  static void writeControlBits(int32_t offset, int32_t status, int32_t count);

  /// Sets the status of the test suite's own byte, at offset 18, to `status`, a
  /// CorvaneControlBitStatus. Another value is reported in the log but still written, not cut to
  /// two bits.
  static void writeCorvaneStatus(int32_t status);

  /// Sets the status of the log-collection byte, at offset 9, to `status`, a
  /// LogCollectionControlBitStatus. Another value is reported in the log but still written, not cut
  /// to two bits.
  static void writeLogCollectionStatus(int32_t status);

  /// @name The keys of the configuration area
  ///
  /// These four open the key store of the configuration area ("VelmoDiagnosticDataSysCfg"), do
  /// one thing and close it. A key is four characters, the first in the most significant byte; see
  /// `syscfg.h` for the one that is not a key. An area without a sound header is an empty store,
  /// and a change replaces the area with one.
  ///
  /// An area that cannot be read or written is reported in the system log only. After a failed read
  /// the work goes on with the area as it was last read, or with an empty store when it never was:
  /// a change then writes that, and other keys can be lost. To rule that out, read the area first,
  /// so that what was last read is the area, and change it only when a second read agrees:
  ///
  ///     std::vector<uint8_t> area(kConfigurationAreaSize), lastRead(kConfigurationAreaSize);
  ///     ferrox_nor_read(&ferrox_nor_access, lastRead.data());
  ///     if (ControlBits::readSysCfgBytes(area.data(), kConfigurationAreaSize) != 0 ||
  ///         lastRead != area) {
  ///       return false;  // The unit cannot be trusted; nothing was changed.
  ///     }
  ///     return ControlBits::writeSystemConfig(value, length, key) == length;
  ///
  /// @{

  /// Fills `keys`, an array of `size` entries, in the order in which the keys were added, and
  /// returns their number. Returns -1, with nothing stored, when there are more than `size`. A
  /// negative `size` counts as a very large one.
  static int32_t readSystemConfigKeys(uint32_t* keys, int32_t size);

  /// Copies the value of `key` to `buffer` and returns its length; 0, with nothing stored, when the
  /// key is not present. `buffer` must have room for the whole value, and for at least 16 bytes: a
  /// value that was written with at most 16 bytes reads back as 16. `kConfigurationAreaSize` bytes
  /// hold any value. With a null `buffer` only the length is returned.
  static int32_t readSystemConfig(uint8_t* buffer, uint32_t key);

  /// Stores the `bufferlen` bytes at `buffer` as the value of `key` and returns `bufferlen`.
  /// Returns 0 when the value does not fit; the key is then absent, even if it had a value before.
  /// A negative length never fits. A length of 0 returns 0 in either case.
  static int32_t writeSystemConfig(const uint8_t* buffer, int32_t bufferlen, uint32_t key);

  /// Removes `key`. Returns 1, or 0 when it is not present; the area is written back in either
  /// case.
  static int32_t deleteSystemConfig(uint32_t key);
  /// @}

  /// Marks the unit as failed in the poison byte at `offset`, or clears the mark when
  /// `setPoisonByte` is false. The whole byte is replaced, its fail count and bits 5-7 included:
  /// with 0xFE to set, 0xFC to clear, and 0xFF to clear from offset 128 on, where the byte belongs
  /// to a diagnostic record. A byte below offset 128 whose status is failed already is left as it
  /// is, which only the system log reports.
  static void writePoisonByte(uint8_t offset, bool setPoisonByte);

  /// Returns a new list of the diagnostic records, first to last, one dictionary each: "time" (a
  /// string, as `ctime` shows it in local time, with its line feed; empty when `ctime` refuses it),
  /// "station", "version", "result" (numbers, signed 32-bit) and "message" (a string; bytes that
  /// are not UTF-8 are taken as Latin-1). Ends before a record that cannot be read, after a line in
  /// the log. Returns null when no list can be made.
  static CFRef<CFMutableArrayRef> readDiagnosticRecord();

  /// Appends a record with the current time to the chain of at most 20: `station`, the two low bits
  /// of `testResult`, and `diagnosticData`, which is empty when null. Returns false when no slot is
  /// left or a slot cannot be read; otherwise true, even when the write failed, which only the log
  /// reports.
  ///
  /// The text has at most 13 characters (9 where the platform's time value has 32 bits), counted as
  /// UTF-16 units: an emoji is two. A longer one, such as seven emoji, ends the process. By then
  /// the last record of the chain is marked as continued: unless the slot after it is free, the
  /// contents of that slot are listed as a record from then on. Of the UTF-8 text, as many bytes
  /// are kept as it has characters, plus one: characters that take several bytes cut it short.
  static bool writeDiagnosticsRecord(uint8_t station, int32_t testResult,
                                     CFStringRef diagnosticData);
};

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_CONTROL_BITS_H_
