#include "tools/record_field.h"

#include <cstddef>
#include <ctime>

#include "controlbits/diagnostic_record.h"
#include "controlbits/record_chain.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

using Record = DiagnosticRecord<time_t>;

/// Returns the name of the field that the byte at `offset` of a record belongs to.
const char* fieldAt(size_t offset) {
  if (offset < offsetof(Record, station)) return "time";
  if (offset < offsetof(Record, flags)) return "station";
  return offset < offsetof(Record, message) ? "flags (version, result, continuation)" : "message";
}

std::string describe(uint32_t offset, std::span<const uint8_t> contents) {
  const size_t slot = (offset - kFirstRecordOffset) / sizeof(Record);
  if (slot >= kRecordSlots) return "lies after the records";
  const RecordChain<time_t> chain = readChain<time_t>(contents);
  return "is in the " + std::string(fieldAt((offset - kFirstRecordOffset) % sizeof(Record))) +
         (slot < chain.records.size() ? " of the record" : " of the unused record slot") +
         " at offset " + std::to_string(slotOffset<time_t>(slot));
}

}  // namespace

void requireNoRecordByte(uint32_t offset, std::span<const uint8_t> contents) {
  if (offset < kFirstRecordOffset) return;
  throw CommandError(kFailed, "the byte at offset " + std::to_string(offset) + " " +
                                  describe(offset, contents) +
                                  "; nothing was changed: --force changes it all the same");
}

}  // namespace corvane::tools
