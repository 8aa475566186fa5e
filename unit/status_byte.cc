#include "unit/status_byte.h"

#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "platform/number.h"
#include "unit/byte_text.h"
#include "unit/verified_write.h"

namespace corvane::unit {
namespace {

std::string place(uint32_t offset) { return "byte " + std::to_string(offset); }

bool isFailed(ByteSpan byte) { return testStatusOf(byte[0]) == kCorvaneControlBitsFailed; }

}  // namespace

uint8_t readByte(uint32_t offset) {
  const auto byte = tryRead(diagnosticDataSet(), offset, 1);
  if (!byte) throw Error(Fault::kUnreadable, place(offset) + " cannot be read");
  return byte->front();
}

std::vector<uint8_t> readDiagnosticData() {
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  if (!getDataAreaBytePtr(&bytes, &length, diagnosticDataSet())) {
    throw Error(Fault::kUnreadable, "the diagnostic data cannot be read");
  }
  return {bytes, bytes + length};
}

uint8_t withStatus(uint8_t byte, const StatusChange& change) {
  if (change.status && *change.status > kTestStatusMask) {
    throw Error(Fault::kBadArgument, "the status must be 0 to 3");
  }
  if (change.failCount && (*change.failCount < 0 || *change.failCount > 7)) {
    throw Error(Fault::kBadArgument, "the fail count must be 0 to 7");
  }
  if (change.status) changeTestStatus(&byte, *change.status);
  if (change.failCount) changeFailCount(&byte, gFailCountMap[*change.failCount]);
  return byte;
}

ByteChange changeStatus(Lock& lock, uint32_t offset, const StatusChange& change) {
  return logged(lock, [&] {
    const uint8_t before = readByte(offset);
    const uint8_t meant = withStatus(before, change);
    if (meant != before) return replaceByte(lock, offset, before, meant);
    lock.addLine(place(offset) + " stays " + hexNumber(before, 2) + ", " +
                 byteText(offset, before));
    return ByteChange{before, before};
  });
}

ByteChange rewriteStatus(Lock& lock, uint32_t offset, uint8_t before, const StatusChange& change) {
  return logged(lock, [&] {
    return replaceByte(lock, offset, before, withStatus(before, change),
                       [](ByteSpan) { return true; });
  });
}

void verifyByte(uint32_t offset, uint8_t meant) {
  const uint8_t held = readByte(offset);
  if (held == meant) return;
  throw Error(Fault::kMismatch,
              place(offset) + " holds " + hexNumber(held, 2) + " instead of " +
                  hexNumber(meant, 2) + ", which it held before",
              Left::kUnknown, 0, Error::Difference{offset, held, meant});
}

ByteChange replaceByte(Lock& lock, uint32_t offset, uint8_t before, uint8_t meant,
                       bool (*isFinal)(ByteSpan)) {
  writeVerified(lock, {.set = diagnosticDataSet(),
                       .offset = offset,
                       .before = {&before, 1},
                       .meant = {&meant, 1},
                       .what = place(offset),
                       .line = place(offset) + ": " + hexNumber(before, 2) + " -> " +
                               hexNumber(meant, 2) + ", " + byteText(offset, meant),
                       .isFinal = isFinal ? isFinal : isFailed});
  return {before, meant};
}

}  // namespace corvane::unit
