#ifndef CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_
#define CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "platform/cf_ref.h"

/// The bytes of the diagnostic records behind the control-bit bytes: 20 slots of one record each,
/// whose size follows the width of the time value of the platform that wrote them. The bytes may be
/// damaged in any way: whatever they hold, they decode to something.
namespace corvane {

inline constexpr uint32_t kFirstRecordOffset = 128;
inline constexpr size_t kRecordSlots = 20;

/// A record in its slot; `Time` is a signed integer of 64 or 32 bits, little-endian in the slot.
template <typename Time>
struct DiagnosticRecord {
  /// Seconds since 1970-01-01 00:00 UTC.
  Time time;
  uint8_t station;
  /// Version, result, and whether another record follows; bit 7 means nothing.
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

/// A free slot's time, in every width.
inline constexpr uint32_t kFreeSlotTime = 0xFFFFFFFF;

/// The longest message that fits with its zero byte.
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
/// Whether another record follows in the next slot.
template <typename Time>
constexpr bool isContinued(const DiagnosticRecord<Time>& record) {
  return (record.flags & kRecordContinued) != 0;
}

/// Whether nothing was written to the slot. A 64-bit time must be 0xFFFFFFFF as a whole: a slot of
/// 0xFF bytes only is free in the 32-bit layout, and a record in the 64-bit one.
template <typename Time>
constexpr bool isFreeSlot(const DiagnosticRecord<Time>& record) {
  constexpr Time kFreeTime = static_cast<Time>(kFreeSlotTime);
  return record.time == kFreeTime && isContinued(record);
}

/// The record's message, to its zero byte or the end of the field. Bytes that are not UTF-8 are
/// taken as Latin-1. Null when the text cannot be made.
template <typename Time>
CFRef<CFStringRef> messageOf(const DiagnosticRecord<Time>& record) {
  const auto* bytes = reinterpret_cast<const UInt8*>(record.message);
  const auto length = std::find(std::begin(record.message), std::end(record.message), '\0') -
                      std::begin(record.message);
  CFRef<CFStringRef> text(
      CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length, kCFStringEncodingUTF8, false));
  if (text) return text;
  return CFRef<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length,
                                                    kCFStringEncodingISOLatin1, false));
}

/// Where a slot, 0 to 19, lies in the data set.
template <typename Time>
constexpr uint32_t slotOffset(size_t slot) {
  return kFirstRecordOffset + static_cast<uint32_t>(sizeof(DiagnosticRecord<Time>) * slot);
}

/// `record` with its time changed between this machine's byte order and the slot's.
template <typename Time>
DiagnosticRecord<Time> swapForSlot(DiagnosticRecord<Time> record) {
  if constexpr (std::endian::native == std::endian::big) {
    auto bytes = std::bit_cast<std::array<uint8_t, sizeof(Time)>>(record.time);
    std::reverse(bytes.begin(), bytes.end());
    record.time = std::bit_cast<Time>(bytes);
  }
  return record;
}

/// The record in a slot of a data set's `contents`; nothing when they end before the slot does.
template <typename Time>
std::optional<DiagnosticRecord<Time>> recordInSlot(std::span<const uint8_t> contents, size_t slot) {
  const size_t offset = slotOffset<Time>(slot);
  DiagnosticRecord<Time> record;
  if (offset + sizeof(record) > contents.size()) return std::nullopt;
  std::memcpy(&record, &contents[offset], sizeof(record));
  return swapForSlot(record);
}

/// What ended a chain: its last record, a free slot, the last of the slots, or a slot that cannot
/// be read.
enum class ChainEnd { kLastRecord, kFreeSlot, kLastSlot, kUnreadable };

/// The records from the first slot up to the chain's end, in slot order.
template <typename Time>
struct RecordChain {
  std::vector<DiagnosticRecord<Time>> records;
  ChainEnd end = ChainEnd::kLastSlot;
  /// What the slot behind the records holds when it is free.
  DiagnosticRecord<Time> freeSlot = {};
};

/// Reads a chain. `readSlot` takes a slot's number and returns its record, or nothing when it
/// cannot be read.
template <typename Time, typename ReadSlot>
RecordChain<Time> readChain(ReadSlot readSlot) {
  RecordChain<Time> chain;
  while (chain.records.size() < kRecordSlots) {
    const std::optional<DiagnosticRecord<Time>> record = readSlot(chain.records.size());
    if (!record) {
      chain.end = ChainEnd::kUnreadable;
      return chain;
    }
    if (isFreeSlot(*record)) {
      chain.end = ChainEnd::kFreeSlot;
      chain.freeSlot = *record;
      return chain;
    }
    chain.records.push_back(*record);
    if (!isContinued(*record)) {
      chain.end = ChainEnd::kLastRecord;
      return chain;
    }
  }
  return chain;
}

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_DIAGNOSTIC_RECORD_H_
