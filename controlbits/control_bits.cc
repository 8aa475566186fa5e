#include "controlbits/control_bits.h"

#include "dataarea/bits.h"
#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "platform/report.h"

namespace corvane {

int32_t ControlBits::getReady() {
  if (getMasterPort() != 0) {
    reportOnStandardError("Failed to get master port.\n");
    return 1;
  }
  if (getDataArea() != 0) {
    reportOnStandardError("Failed to get data area.\n");
    return 2;
  }
  // The byte itself is of no use: that it can be read proves the data area readable.
  uint8_t probe{};
  if (readBits(kSuiteStatusOffset, 1, &probe, diagnosticDataSet()) != 0) {
    reportOnStandardError("Failed to read bits.\n");
    return 3;
  }
  return 0;
}

int32_t ControlBits::readSysCfgBytes(uint8_t* buffer, uint16_t bufferLen) {
  return static_cast<int32_t>(readBits(0, bufferLen, buffer, configurationDataSet()));
}

int32_t ControlBits::readControlBitsBytes(uint8_t* buffer, uint16_t bufferLen) {
  return static_cast<int32_t>(readBits(0, bufferLen, buffer, diagnosticDataSet()));
}

void ControlBits::readArea() {
  uint8_t area[103];
  readBits(0, sizeof(area), area, diagnosticDataSet());
}

}  // namespace corvane
