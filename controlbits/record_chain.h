#ifndef CORVANE_CONTROLBITS_RECORD_CHAIN_H_
#define CORVANE_CONTROLBITS_RECORD_CHAIN_H_

#include <CoreFoundation/CoreFoundation.h>

#include <span>
#include <vector>

#include "controlbits/diagnostic_record.h"

/// The chain of diagnostic records: slots from the first one on, up to a record that is not
/// continued. `Time` is int64_t or int32_t, the time value of the platform that wrote the records.
namespace corvane {

/// What ended a chain: its last record, a free slot, the last of the slots, or a slot that cannot
/// be read.
enum class ChainEnd { kLastRecord, kFreeSlot, kLastSlot, kUnreadable };

template <typename Time>
struct RecordChain {
  /// In slot order.
  std::vector<DiagnosticRecord<Time>> records;
  ChainEnd end = ChainEnd::kLastSlot;
  /// The contents of the slot after the records when it is free.
  DiagnosticRecord<Time> freeSlot = {};
};

/// Returns the chain in a data set's `contents`. A slot that they do not hold whole cannot be read.
template <typename Time>
RecordChain<Time> readChain(std::span<const uint8_t> contents);

/// Record storage, its clock and its log sink.
class RecordArea {
 public:
  /// Return 0, or the code of the failure. An offset counts from the start of the data set.
  virtual uint32_t read(uint32_t offset, uint32_t length, void* destination) = 0;
  virtual uint32_t write(uint32_t offset, uint32_t length, const void* bytes) = 0;
  /// Returns the current time in seconds since 1970-01-01 00:00 UTC.
  virtual int64_t now() = 0;
  virtual void report(CFStringRef message, CFStringRef testName, int32_t indentation) = 0;

 protected:
  ~RecordArea() = default;
};

/// Returns the area's chain. A slot that cannot be read is reported.
template <typename Time>
RecordChain<Time> readChain(RecordArea& area);

/// Returns a new list of one dictionary a record: "time", "station", "version", "result" and
/// "message". An entry or a dictionary that cannot be made is left out. Returns null when the list
/// cannot be made.
template <typename Time>
CFRef<CFMutableArrayRef> listRecords(RecordArea& area);

struct NewRecord {
  uint8_t station;
  /// The two low bits are stored.
  int32_t testResult;
  /// May be null. A message that is longer than a record holds ends the process.
  CFStringRef message;
};

/// Appends a record to the chain and returns whether there was a slot for it. Its time is taken
/// after the search for the slot and after the record before it is marked. A failed write is only
/// reported.
template <typename Time>
bool appendRecord(RecordArea& area, const NewRecord& source);

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_RECORD_CHAIN_H_
