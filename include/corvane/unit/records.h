#ifndef CORVANE_UNIT_RECORDS_H_
#define CORVANE_UNIT_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "../platform/export.h"
#include "lock.h"

/// The chain of diagnostic records that stations leave for later ones.
namespace corvane::unit {

/// The most records that a unit holds.
inline constexpr size_t kMaxRecords = 20;
/// The most bytes that a record's message has.
inline constexpr size_t kMaxRecordMessage = sizeof(time_t) + 5;

/// A record as the unit holds it.
struct Record {
  int64_t time = 0;     ///< Seconds since 1970-01-01 00:00 UTC.
  uint8_t station = 0;  ///< The number of the station that wrote it.
  uint8_t version = 0;  ///< 0 to 15; stations write 0.
  uint8_t result = 0;   ///< 0 to 3, a CorvaneControlBitStatus.
  uint8_t flags = 0;    ///< The whole byte that holds version, result and whether a record follows.
  std::string message;  ///< Its bytes, up to the first zero.
  size_t slot = 0;      ///< From 0.
  uint32_t offset = 0;  ///< Of the slot, in the data set.

  /// Returns whether `other` is the same record, whether or not another follows one of them.
  CORVANE_EXPORT bool operator==(const Record& other) const;
};

/// The records, first to last.
struct Records {
  std::vector<Record> records;  ///< The chain.
  /// Why no record can be added; empty when one can.
  std::string obstacle;
};

/// Returns the chain in the unit. Throws Error (kUnreadable).
CORVANE_EXPORT Records readRecords();
/// Returns the chain in `contents`, a whole data set "VelmoDiagnosticData". Throws Error
/// (kUnreadable) when they end before the chain does.
CORVANE_EXPORT Records recordsIn(std::span<const uint8_t> contents);

/// Returns `text` as a record can hold it: as many whole characters as fit into `kMaxRecordMessage`
/// bytes of UTF-8. Control characters and bytes that are not UTF-8 become "?".
CORVANE_EXPORT std::string textForRecord(std::string_view text);

/// Returns what the byte at `offset`, 128 or more, of a whole data set `contents` belongs to: "is
/// in the station of the record at offset 128".
CORVANE_EXPORT std::string recordByteText(uint32_t offset, std::span<const uint8_t> contents);

/// Appends a record of `station` with `result`, `message` and the current time under `lock`, and
/// returns it as the unit holds it. Writes its slot and, in the same write, the one before it, and
/// reads both back. Throws Error: kBadArgument for a result above 3 or a message with more than
/// `kMaxRecordMessage` bytes or with a zero byte; kNoRoom when the chain is full, and when its last
/// record has the time of a free slot, because a record after it would make it one; kNoClock. What
/// a failed change has left is put back.
CORVANE_EXPORT Record appendRecord(Lock& lock, uint8_t station, uint8_t result,
                                   std::string_view message);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_RECORDS_H_
