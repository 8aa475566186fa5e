#include "unit/records.h"

#include <utf8.h>

#include <cstddef>
#include <cstring>
#include <iterator>

#include "controlbits/record_chain.h"
#include "dataarea/data_sets.h"
#include "platform/printable.h"
#include "unit/status_byte.h"
#include "unit/verified_write.h"

namespace corvane::unit {
namespace {

/// As the library reads and writes them: in the width of this machine's time value.
using Slot = DiagnosticRecord<time_t>;
using Chain = RecordChain<time_t>;
static_assert(kControlBits == kFirstRecordOffset &&
              kMaxRecordMessage == kRecordMessageRoom<time_t> && kMaxRecords == kRecordSlots);

/// The contents of "VelmoDiagnosticData" up to the last slot; the control-bit bytes are not read.
using Contents = std::vector<uint8_t>;

/// Reads the slots in one piece or, where the data set is shorter, one by one up to the end of the
/// chain.
Contents readSlots() {
  Contents contents(kFirstRecordOffset);
  const auto append = [&contents](size_t length) {
    const auto bytes = tryRead(diagnosticDataSet(), static_cast<uint32_t>(contents.size()), length);
    if (bytes) contents.insert(contents.end(), bytes->begin(), bytes->end());
    return bytes.has_value();
  };
  if (append(kRecordSlots * sizeof(Slot))) return contents;
  while (append(sizeof(Slot)) && readChain<time_t>(contents).end == ChainEnd::kUnreadable) {
  }
  // A record may follow the last one.
  if (readChain<time_t>(contents).end == ChainEnd::kLastRecord) append(sizeof(Slot));
  return contents;
}

Chain chainIn(ByteSpan contents) {
  Chain chain = readChain<time_t>(contents);
  if (chain.end == ChainEnd::kUnreadable) {
    throw Error(Fault::kUnreadable,
                "the records cannot be read: the chain does not end within the "
                "data set, or slot " +
                    std::to_string(chain.records.size() + 1) + " cannot be read");
  }
  return chain;
}

Record recordOf(const Slot& slot, size_t index) {
  return {.time = slot.time,
          .station = slot.station,
          .version = static_cast<uint8_t>(versionOf(slot)),
          .result = static_cast<uint8_t>(resultOf(slot)),
          .flags = slot.flags,
          .message = {slot.message, ::strnlen(slot.message, sizeof slot.message)},
          .slot = index,
          .offset = slotOffset<time_t>(index)};
}

std::string obstacleTo(const Chain& chain) {
  if (chain.end == ChainEnd::kFreeSlot) return "";
  if (chain.end == ChainEnd::kLastSlot || chain.records.size() == kRecordSlots) {
    return "the chain of records is full: it holds " + std::to_string(chain.records.size());
  }
  // A record after it makes it a continued one, and those with this time are free slots.
  if (chain.records.back().time == static_cast<time_t>(kFreeSlotTime)) {
    return "the last record has the time 0xffffffff of a free slot: no record can follow it";
  }
  return "";
}

Records listOf(const Chain& chain) {
  Records list;
  list.obstacle = obstacleTo(chain);
  for (const Slot& slot : chain.records)
    list.records.push_back(recordOf(slot, list.records.size()));
  return list;
}

void requireRecord(uint8_t result, std::string_view message) {
  if (result > kRecordResultMask) {
    throw Error(Fault::kBadArgument, "the result of a record must be 0 to 3");
  }
  if (message.size() > kMaxRecordMessage || message.find('\0') != message.npos) {
    throw Error(Fault::kBadArgument, "the message \"" + printable(message) + "\" has " +
                                         std::to_string(message.size()) +
                                         " bytes; a record holds " +
                                         std::to_string(kMaxRecordMessage) + ", none of them zero");
  }
}

time_t timeOfRecord() {
  const time_t now = std::time(nullptr);
  if (now != time_t{-1} && now != static_cast<time_t>(kFreeSlotTime)) return now;
  throw Error(Fault::kNoClock,
              "no record is written: the clock cannot be read, or has the time "
              "0xffffffff of a free slot");
}

/// Puts `record` into a slot's bytes, of which it leaves what it does not fill.
void fill(Slot& slot, uint8_t station, uint8_t result, std::string_view message) {
  slot.station = station;
  slot.flags = static_cast<uint8_t>((slot.flags & kRecordSpareFlag) | result << kRecordResultShift);
  slot.message[message.copy(slot.message, kMaxRecordMessage)] = '\0';
  slot.time = timeOfRecord();
}

/// The slots that a further record changes, and where they begin.
struct ChangedSlots {
  uint32_t offset;
  std::vector<uint8_t> bytes = {};
  /// The new record.
  Slot record = {};

  void append(const Slot& slot) {
    const Slot swapped = swapForSlot(slot);
    const auto* const at = reinterpret_cast<const uint8_t*>(&swapped);
    bytes.insert(bytes.end(), at, at + sizeof swapped);
  }
};

ChangedSlots changedSlots(const Chain& chain, uint8_t station, uint8_t result,
                          std::string_view message) {
  const size_t slot = chain.records.size();
  const bool isFree = chain.end == ChainEnd::kFreeSlot;
  ChangedSlots changed{slotOffset<time_t>(isFree ? slot : slot - 1)};
  // The new record inherits what it does not fill from the free slot or the record before it.
  Slot& record = changed.record = isFree ? chain.freeSlot : chain.records.back();
  if (!isFree) {
    record.flags |= kRecordContinued;
    changed.append(record);
  }
  fill(record, station, result, message);
  changed.append(record);
  return changed;
}

}  // namespace

bool Record::operator==(const Record& other) const {
  return time == other.time && station == other.station && version == other.version &&
         result == other.result && message == other.message && slot == other.slot;
}

Records recordsIn(std::span<const uint8_t> contents) { return listOf(chainIn(contents)); }

Records readRecords() { return recordsIn(readSlots()); }

std::string textForRecord(std::string_view text) {
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), '?');

  std::string fitting;
  for (auto at = valid.cbegin(); at != valid.cend();) {
    const auto start = at;
    const bool isShown = !isControl(utf8::next(at, valid.cend()));
    const std::string character = isShown ? std::string(start, at) : "?";
    if (fitting.size() + character.size() > kMaxRecordMessage) break;
    fitting += character;
  }
  return fitting;
}

std::string recordByteText(uint32_t offset, std::span<const uint8_t> contents) {
  const size_t slot = (offset - kFirstRecordOffset) / sizeof(Slot);
  if (slot >= kRecordSlots) return "lies after the records";
  const size_t at = (offset - kFirstRecordOffset) % sizeof(Slot);
  const char* const field = at < offsetof(Slot, station)   ? "time"
                            : at < offsetof(Slot, flags)   ? "station"
                            : at < offsetof(Slot, message) ? "flags (version, result, continuation)"
                                                           : "message";
  const bool isUsed = slot < readChain<time_t>(contents).records.size();
  return "is in the " + std::string(field) +
         (isUsed ? " of the record" : " of the unused record slot") + " at offset " +
         std::to_string(slotOffset<time_t>(slot));
}

Record appendRecord(Lock& lock, uint8_t station, uint8_t result, std::string_view message) {
  return logged(lock, [&] {
    requireRecord(result, message);
    const Contents contents = readSlots();
    const Chain chain = chainIn(contents);
    if (const std::string obstacle = obstacleTo(chain); !obstacle.empty()) {
      throw Error(Fault::kNoRoom, obstacle);
    }
    const size_t slot = chain.records.size();
    const ChangedSlots changed = changedSlots(chain, station, result, message);
    const std::string what = "record " + std::to_string(slot + 1);
    if (changed.offset + changed.bytes.size() > contents.size()) {
      throw Error(Fault::kNoRoom, "the data set has no room for " + what);
    }
    writeVerified(lock,
                  {.set = diagnosticDataSet(),
                   .offset = changed.offset,
                   .before = ByteSpan(contents).subspan(changed.offset, changed.bytes.size()),
                   .meant = changed.bytes,
                   .what = what,
                   .line = what + ": none -> station " + std::to_string(station) + ", result " +
                           std::to_string(result) + ", \"" + std::string(message) + "\""});
    return recordOf(changed.record, slot);
  });
}

}  // namespace corvane::unit
