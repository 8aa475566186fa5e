#include "controlbits/record_chain.h"

#include <algorithm>
#include <ctime>
#include <string>

#include "platform/text.h"

namespace corvane {
namespace {

void reportControlBits(RecordArea& area, CFStringRef message) {
  area.report(message, CFSTR("Control Bits"), 0);
}

/// Reads a chain through `readSlot`, which returns a slot's record, or nothing when it cannot be
/// read.
template <typename Time, typename ReadSlot>
RecordChain<Time> readChainThrough(ReadSlot readSlot) {
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

template <typename Time>
uint32_t writeSlot(RecordArea& area, size_t slot, const DiagnosticRecord<Time>& record) {
  const DiagnosticRecord<Time> bytes = swapForSlot(record);
  return area.write(slotOffset<Time>(slot), sizeof(bytes), &bytes);
}

/// Returns `time` as `ctime` shows it, with its line feed; empty when `ctime` refuses it.
CFRef<CFStringRef> clockText(time_t time) {
  const char* text = std::ctime(&time);
  return CFRef<CFStringRef>(
      CFStringCreateWithCString(kCFAllocatorDefault, text ? text : "", kCFStringEncodingUTF8));
}

CFRef<CFNumberRef> numberOf(int32_t value) {
  return CFRef<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
}

/// Adds the entry unless its value is null, which means that it could not be made.
template <typename Ref>
void addEntry(CFMutableDictionaryRef dictionary, CFStringRef key, const CFRef<Ref>& value) {
  if (value) CFDictionaryAddValue(dictionary, key, value.get());
}

template <typename Time>
CFRef<CFMutableDictionaryRef> dictionaryOf(const DiagnosticRecord<Time>& record) {
  CFRef<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 5, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  if (!dictionary) return {};
  addEntry(dictionary.get(), CFSTR("time"), clockText(static_cast<time_t>(record.time)));
  addEntry(dictionary.get(), CFSTR("station"), numberOf(record.station));
  addEntry(dictionary.get(), CFSTR("version"), numberOf(versionOf(record)));
  addEntry(dictionary.get(), CFSTR("result"), numberOf(resultOf(record)));
  addEntry(dictionary.get(), CFSTR("message"), messageOf(record));
  return dictionary;
}

/// Copies `length` bytes to a field of `room` bytes. A greater length ends the process in the C
/// library's checked copy, which is called by name so that it does not depend on how the caller is
/// compiled. The address sanitizer would report the overflow before the copy does.
[[gnu::no_sanitize_address]] void copyChecked(char* field, size_t room, const char* bytes,
                                              size_t length) {
  __builtin___memcpy_chk(field, bytes, length, room);
}

/// Overwrites the bytes of `record` with `time` and what `source` holds.
template <typename Time>
void fillRecord(DiagnosticRecord<Time>& record, int64_t time, const NewRecord& source) {
  const uint32_t result = static_cast<uint32_t>(source.testResult) & kRecordResultMask;
  record.time = static_cast<Time>(time);
  record.station = source.station;
  record.flags =
      static_cast<uint8_t>((record.flags & kRecordSpareFlag) | result << kRecordResultShift);

  // As many bytes as the string has UTF-16 units, plus one: a character of several bytes takes the
  // place of the zero. Zeros follow a text that has fewer bytes than units.
  std::string text = utf8Bytes(source.message);
  const auto units = static_cast<size_t>(source.message ? CFStringGetLength(source.message) : 0);
  text.resize(std::max(text.size(), units));
  copyChecked(record.message, sizeof(record.message), text.c_str(), units + 1);
}

}  // namespace

template <typename Time>
RecordChain<Time> readChain(std::span<const uint8_t> contents) {
  return readChainThrough<Time>(
      [contents](size_t slot) { return recordInSlot<Time>(contents, slot); });
}

template <typename Time>
RecordChain<Time> readChain(RecordArea& area) {
  return readChainThrough<Time>([&area](size_t slot) -> std::optional<DiagnosticRecord<Time>> {
    DiagnosticRecord<Time> record;
    if (area.read(slotOffset<Time>(slot), sizeof(record), &record) == 0) return swapForSlot(record);
    reportControlBits(area, CFSTR("Reading Diagnostic Record failed"));
    return std::nullopt;
  });
}

template <typename Time>
CFRef<CFMutableArrayRef> listRecords(RecordArea& area) {
  CFRef<CFMutableArrayRef> list(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  if (!list) return {};
  for (const DiagnosticRecord<Time>& record : readChain<Time>(area).records) {
    const CFRef<CFMutableDictionaryRef> dictionary = dictionaryOf(record);
    if (dictionary) CFArrayAppendValue(list.get(), dictionary.get());
  }
  return list;
}

template <typename Time>
bool appendRecord(RecordArea& area, const NewRecord& source) {
  const RecordChain<Time> chain = readChain<Time>(area);
  const size_t slot = chain.records.size();
  const bool isSlotFree = chain.end == ChainEnd::kFreeSlot;
  const bool isAfterLast = chain.end == ChainEnd::kLastRecord && slot < kRecordSlots;
  if (!isSlotFree && !isAfterLast) {
    reportControlBits(area,
                      formatText(CFSTR("Failed to write (%@) to diagnostic record for station: %d "
                                       "result: %d"),
                                 source.message, source.station, source.testResult)
                          .get());
    area.report(CFSTR("No room left in the diagnostic record"), nullptr, 1);
    return false;
  }

  // The new record inherits what it does not fill from the free slot or the record before it.
  DiagnosticRecord<Time> record = isSlotFree ? chain.freeSlot : chain.records.back();
  if (isAfterLast) {
    record.flags |= kRecordContinued;
    if (writeSlot(area, slot - 1, record) != 0) {
      reportControlBits(area, CFSTR("Writing Diagnostic Record failed"));
    }
  }
  fillRecord(record, area.now(), source);
  const uint32_t result = writeSlot(area, slot, record);

  // The number counts the slots that were read, so that a record after the last one has that one's
  // number.
  const size_t number = isSlotFree ? slot + 1 : slot;
  const CFStringRef format =
      result == 0
          ? CFSTR("Wrote (%@) to diagnostic record #%d for station: %d result: %d")
          : CFSTR("Failed to write (%@) to diagnostic record #%d for station: %d result: %d");
  reportControlBits(
      area,
      formatText(format, source.message, static_cast<int>(number), source.station, result).get());
  return true;
}

template RecordChain<int64_t> readChain<int64_t>(std::span<const uint8_t>);
template RecordChain<int32_t> readChain<int32_t>(std::span<const uint8_t>);
template RecordChain<int64_t> readChain<int64_t>(RecordArea&);
template RecordChain<int32_t> readChain<int32_t>(RecordArea&);
template CFRef<CFMutableArrayRef> listRecords<int64_t>(RecordArea&);
template CFRef<CFMutableArrayRef> listRecords<int32_t>(RecordArea&);
template bool appendRecord<int64_t>(RecordArea&, const NewRecord&);
template bool appendRecord<int32_t>(RecordArea&, const NewRecord&);

}  // namespace corvane
