#ifndef CORVANE_CONTROLBITS_RECORD_CHAIN_H_
#define CORVANE_CONTROLBITS_RECORD_CHAIN_H_

#include <CoreFoundation/CoreFoundation.h>

#include <ctime>

#include "controlbits/diagnostic_record.h"
#include "platform/text.h"

namespace corvane {

/// Where a chain of records lies, and who hears what became of it.
class RecordArea {
 public:
  /// Both return 0, or what went wrong; an offset counts from the start of the data set.
  virtual uint32_t read(uint32_t offset, uint32_t length, void* destination) = 0;
  virtual uint32_t write(uint32_t offset, uint32_t length, const void* bytes) = 0;
  virtual void report(CFStringRef message, CFStringRef testName, int32_t indentation) = 0;

 protected:
  ~RecordArea() = default;
};

inline void reportControlBits(RecordArea& area, CFStringRef message) {
  area.report(message, CFSTR("Control Bits"), 0);
}

/// The area's chain; a slot that cannot be read is reported.
template <typename Time>
RecordChain<Time> readChainOf(RecordArea& area) {
  return readChain<Time>([&area](size_t slot) -> std::optional<DiagnosticRecord<Time>> {
    DiagnosticRecord<Time> record;
    if (area.read(slotOffset<Time>(slot), sizeof(record), &record) == 0) return swapForSlot(record);
    reportControlBits(area, CFSTR("Reading Diagnostic Record failed"));
    return std::nullopt;
  });
}

template <typename Time>
uint32_t writeSlot(RecordArea& area, size_t slot, const DiagnosticRecord<Time>& record) {
  const DiagnosticRecord<Time> bytes = swapForSlot(record);
  return area.write(slotOffset<Time>(slot), sizeof(bytes), &bytes);
}

/// `time` as `ctime` shows it, with its line feed; empty when it refuses to.
inline CFRef<CFStringRef> clockText(time_t time) {
  const char* text = std::ctime(&time);
  return CFRef<CFStringRef>(
      CFStringCreateWithCString(kCFAllocatorDefault, text ? text : "", kCFStringEncodingUTF8));
}

inline CFRef<CFNumberRef> numberOf(int32_t value) {
  return CFRef<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
}

/// A value that could not be made leaves its key out.
template <typename Ref>
void addEntry(CFMutableDictionaryRef dictionary, CFStringRef key, const CFRef<Ref>& value) {
  if (value) CFDictionaryAddValue(dictionary, key, value.get());
}

template <typename Time>
CFRef<CFMutableDictionaryRef> dictionaryOf(const DiagnosticRecord<Time>& record) {
  CFRef<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 5, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  if (!dictionary) return dictionary;
  addEntry(dictionary.get(), CFSTR("time"), clockText(static_cast<time_t>(record.time)));
  addEntry(dictionary.get(), CFSTR("station"), numberOf(record.station));
  addEntry(dictionary.get(), CFSTR("version"), numberOf(versionOf(record)));
  addEntry(dictionary.get(), CFSTR("result"), numberOf(resultOf(record)));
  addEntry(dictionary.get(), CFSTR("message"), messageOf(record));
  return dictionary;
}

/// One dictionary a record; a record whose dictionary cannot be made is left out. Null when there
/// can be no list.
template <typename Time>
CFRef<CFMutableArrayRef> listRecords(RecordArea& area) {
  CFRef<CFMutableArrayRef> list(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  if (!list) return list;
  for (const DiagnosticRecord<Time>& record : readChainOf<Time>(area).records) {
    const CFRef<CFMutableDictionaryRef> dictionary = dictionaryOf(record);
    if (dictionary) CFArrayAppendValue(list.get(), dictionary.get());
  }
  return list;
}

/// What a new record is to say.
template <typename Time>
struct NewRecord {
  Time time;
  uint8_t station;
  int32_t testResult;
  CFStringRef message;
};

/// Copies `length` bytes to a field of `room` bytes. More than fits ends the process in the C
/// library's checked copy, which is called by name so that this does not hang on how the caller is
/// compiled; the address sanitizer's own check would only get ahead of it.
[[gnu::no_sanitize_address]] inline void copyChecked(char* field, size_t room, const char* bytes,
                                                     size_t length) {
  __builtin___memcpy_chk(field, bytes, length, room);
}

/// Puts what `source` says over the bytes of `record`. A message that does not fit ends the
/// process.
template <typename Time>
void fillRecord(DiagnosticRecord<Time>& record, const NewRecord<Time>& source) {
  const uint32_t result = static_cast<uint32_t>(source.testResult) & kRecordResultMask;
  record.time = source.time;
  record.station = source.station;
  record.flags =
      static_cast<uint8_t>((record.flags & kRecordSpareFlag) | result << kRecordResultShift);

  // As many bytes as the string has UTF-16 units, and one: a character of several bytes takes the
  // place of the zero. No string has fewer bytes than units.
  const std::string text = utf8Bytes(source.message);
  const CFIndex units = source.message ? CFStringGetLength(source.message) : 0;
  copyChecked(record.message, sizeof(record.message), text.c_str(), static_cast<size_t>(units) + 1);
}

/// Appends a record behind the chain. Whether there was a slot for it; failed writes are reported
/// only.
template <typename Time>
bool appendRecord(RecordArea& area, const NewRecord<Time>& source) {
  const RecordChain<Time> chain = readChainOf<Time>(area);
  const size_t slot = chain.records.size();
  const bool isSlotFree = chain.end == ChainEnd::kFreeSlot;
  const bool isBehindLast = chain.end == ChainEnd::kLastRecord && slot < kRecordSlots;
  if (!isSlotFree && !isBehindLast) {
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
  if (isBehindLast) {
    record.flags |= kRecordContinued;
    if (writeSlot(area, slot - 1, record) != 0) {
      reportControlBits(area, CFSTR("Writing Diagnostic Record failed"));
    }
  }
  fillRecord(record, source);
  const uint32_t result = writeSlot(area, slot, record);

  // The number counts the slots that were read, so that a record written behind the last one has
  // that one's number.
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

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_RECORD_CHAIN_H_
