#ifndef CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_
#define CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/cf_ref.h"

/// The byte layout of the diagnostic records after the control-bit bytes: 20 slots of one record
/// each, whose size follows the width of the time value of the platform that wrote them. `Time` is
/// int64_t or int32_t. Damaged bytes decode to some record, never to an error.
namespace corvane {

inline constexpr uint32_t kFirstRecordOffset = 128;
inline constexpr size_t kRecordSlots = 20;

/// A record; its time is little-endian in the slot.
template <typename Time>
struct DiagnosticRecord {
  /// Seconds since 1970-01-01 00:00 UTC.
  Time time;
  uint8_t station;
  /// Bits 0-3 version, bits 4-5 result, bit 6 whether another record follows; bit 7 has no meaning.
  uint8_t flags;
  /// UTF-8 up to the first zero byte; not every message leaves room for one.
  char message[sizeof(Time) + 6];
};
static_assert(sizeof(DiagnosticRecord<int64_t>) == 24 && sizeof(DiagnosticRecord<int32_t>) == 16);
static_assert(offsetof(DiagnosticRecord<int64_t>, message) == 10);
static_assert(offsetof(DiagnosticRecord<int32_t>, message) == 6);

inline constexpr uint8_t kRecordVersionMask = 0x0F;
inline constexpr uint8_t kRecordResultMask = 0x03;
inline constexpr uint8_t kRecordResultShift = 4;
inline constexpr uint8_t kRecordContinued = 0x40;
inline constexpr uint8_t kRecordSpareFlag = 0x80;

/// The time of a free slot, in both widths.
inline constexpr uint32_t kFreeSlotTime = 0xFFFFFFFF;

/// Length of the longest message that fits with its zero byte.
template <typename Time>
inline constexpr size_t kRecordMessageRoom = sizeof(DiagnosticRecord<Time>::message) - 1;

template <typename Time>
constexpr int32_t versionOf(const DiagnosticRecord<Time>& record) {
  return record.flags & kRecordVersionMask;
}
template <typename Time>
constexpr int32_t resultOf(const DiagnosticRecord<Time>& record) {
  return (record.flags >> kRecordResultShift) & kRecordResultMask;
}
/// Returns whether another record follows in the next slot.
template <typename Time>
constexpr bool isContinued(const DiagnosticRecord<Time>& record) {
  return (record.flags & kRecordContinued) != 0;
}

/// Returns whether the slot is free. A 64-bit time must be 0xFFFFFFFF as a whole: a slot of only
/// 0xFF bytes is free in the 32-bit layout, and a record in the 64-bit one.
template <typename Time>
constexpr bool isFreeSlot(const DiagnosticRecord<Time>& record) {
  constexpr Time kFreeTime = static_cast<Time>(kFreeSlotTime);
  return record.time == kFreeTime && isContinued(record);
}

/// Returns where a slot, 0 to 19, lies in the data set.
template <typename Time>
constexpr uint32_t slotOffset(size_t slot) {
  return kFirstRecordOffset + static_cast<uint32_t>(sizeof(DiagnosticRecord<Time>) * slot);
}

/// Returns the record's message, up to its zero byte or the end of the field. Bytes that are not
/// UTF-8 are taken as Latin-1. Returns null when the string cannot be made.
template <typename Time>
CFRef<CFStringRef> messageOf(const DiagnosticRecord<Time>& record);

/// Returns `record` with its time converted between this machine's byte order and the slot's.
template <typename Time>
DiagnosticRecord<Time> swapForSlot(DiagnosticRecord<Time> record);

/// Returns the record in a slot of a data set's `contents`; nothing when they end before the slot
/// does.
template <typename Time>
std::optional<DiagnosticRecord<Time>> recordInSlot(std::span<const uint8_t> contents, size_t slot);

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_
