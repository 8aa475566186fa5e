#include "controlbits/poison_byte.h"

#include "controlbits/control_bits.h"
#include "controlbits/log_line.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "platform/out_of_memory.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace corvane {

void ControlBits::writePoisonByte(uint8_t offset, bool setPoisonByte) {
  unlessOutOfMemory([&] {
    uint8_t byte{};
    if (readBits(offset, 1, &byte, diagnosticDataSet()) != 0) {
      return logLine(CFSTR("Read Poison Byte failed"));
    }
    if (isPoisonFinal(offset, byte)) {
      return NSLog(CFSTR("Poison byte already set. Not overwriting previous result."));
    }

    const CFStringRef format = setPoisonByte ? CFSTR("Setting Poison Byte using offset = %d")
                                             : CFSTR("Clearing Poison Byte using offset = %d");
    logLine(formatText(format, offset).get());
    byte = poisonByte(offset, setPoisonByte);
    if (writeBits(offset, 1, &byte, kCommit, diagnosticDataSet()) != 0) {
      logLine(CFSTR("Writing Poison Byte failed"));
    }
  });
}

}  // namespace corvane
