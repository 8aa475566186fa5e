#include <ctime>

#include "controlbits/control_bits.h"
#include "controlbits/data_set_records.h"

namespace corvane {

CFRef<CFMutableArrayRef> ControlBits::readDiagnosticRecord() {
  DataSetRecords area;
  return listRecords<time_t>(area);
}

bool ControlBits::writeDiagnosticsRecord(uint8_t station, int32_t testResult,
                                         CFStringRef diagnosticData) {
  DataSetRecords area;
  return appendRecord<time_t>(area, {time(nullptr), station, testResult, diagnosticData});
}

}  // namespace corvane
