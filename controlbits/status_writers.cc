#include <array>
#include <span>

#include "controlbits/control_bits.h"
#include "controlbits/log_line.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "log/log.h"
#include "platform/out_of_memory.h"
#include "platform/text.h"

namespace corvane {
namespace {

/// `status` of writeControlBits that leaves the status field alone.
constexpr int32_t kKeepStatus = 4;

void traceByte(CFStringRef format, uint8_t byte) {
  Log::writeDebug(formatText(format, byte).get(), CFSTR("Control Bits"), 0);
}

/// Returns the byte at `offset`; 0xFF, after logging `failure`, when it cannot be read.
uint8_t readByte(uint32_t offset, CFStringRef failure) {
  uint8_t byte = 0xFF;
  if (readBits(offset, 1, &byte, diagnosticDataSet()) != 0) logLine(failure);
  traceByte(CFSTR("Old byte = %02x"), byte);
  return byte;
}

void writeByte(uint32_t offset, uint8_t byte, CFStringRef failureFormat) {
  const uint32_t result = writeBits(offset, 1, &byte, kCommit, diagnosticDataSet());
  if (result != 0) logLine(formatText(failureFormat, result).get());
}

/// The log lines of a writer of one fixed byte: one for each status, the rest as named.
struct FixedByteTexts {
  std::span<const CFStringRef> statusLines;
  CFStringRef badStatus;
  CFStringRef performing;
};

void writeFixedByte(uint32_t offset, int32_t status, const FixedByteTexts& texts) {
  const auto line = static_cast<uint32_t>(status);
  logLine(line < texts.statusLines.size() ? texts.statusLines[line] : texts.badStatus);

  // A bad status, reported above, is still written.
  uint8_t byte = readByte(offset, CFSTR("readBits failed during writeStatus"));
  const bool changed = changeTestStatus(&byte, line) != 0;
  traceByte(CFSTR("New byte = %02x"), byte);
  if (!changed) return;

  logLine(texts.performing);
  writeByte(offset, byte, CFSTR("writeStatus failed (result=%d)"));
}

}  // namespace

void ControlBits::writeControlBits(int32_t offset, int32_t status, int32_t count) {
  unlessOutOfMemory([&] {
    const auto place = static_cast<uint32_t>(offset);
    uint8_t byte = readByte(place, CFSTR("readBits failed during writeControlBits"));

    const bool statusChanged =
        status != kKeepStatus && changeTestStatus(&byte, static_cast<uint32_t>(status)) != 0;
    // A count outside 0 to 7 leaves its change flag at the low bit of `status`, so that an odd
    // status is written back even when the byte already holds it.
    bool countChanged = (status & 1) != 0;
    if (count >= 0 && count <= 7) countChanged = changeFailCount(&byte, gFailCountMap[count]) != 0;
    traceByte(CFSTR("New byte = %02x"), byte);
    if (!statusChanged && !countChanged) return;

    logLine(CFSTR("writeControlBits perform the changes"));
    writeByte(place, byte, CFSTR("writeControlBits failed (result=%d)"));
  });
}

void ControlBits::writeCorvaneStatus(int32_t status) {
  unlessOutOfMemory([&] {
    const std::array statusLines = {
        CFSTR("writeStatus kCorvaneCotnrolBitsPassed"),
        CFSTR("writeStatus kCorvaneControlBitsIncompleteTest"),
        CFSTR("writeStatus kCorvaneControlBitsFailed"),
        CFSTR("writeStatus kCorvaneControlBitsNotTested"),
    };
    writeFixedByte(kSuiteStatusOffset, status,
                   {statusLines,
                    CFSTR("FATAL ERROR bad Corvane state passed to "
                          "writeCorvaneStatus:(CorvaneControlBitStatus)status"),
                    CFSTR("writeCorvaneStatus perform the changes")});
  });
}

void ControlBits::writeLogCollectionStatus(int32_t status) {
  unlessOutOfMemory([&] {
    const std::array statusLines = {
        CFSTR("writeStatus kLogCollectionControlBitsComplete"),
        CFSTR("writeStatus kLogCollectionControlBitsIncomplete"),
    };
    writeFixedByte(kLogCollectionOffset, status,
                   {statusLines,
                    CFSTR("FATAL ERROR bad Log Collection state passed to "
                          "writeLogCollectionStatus:(LogCollectionControlBitStatus)status"),
                    CFSTR("writeLogCollectionStatus perform the changes")});
  });
}

}  // namespace corvane
