#include <ctime>
#include <exception>

#include "controlbits/control_bits.h"
#include "controlbits/record_chain.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "log/log.h"

namespace corvane {
namespace {

/// The records of the unit's data set, written permanently and reported on in the test log.
class DataSetRecords final : public RecordArea {
 public:
  uint32_t read(uint32_t offset, uint32_t length, void* destination) override {
    return readBits(offset, length, destination, diagnosticDataSet());
  }
  uint32_t write(uint32_t offset, uint32_t length, const void* bytes) override {
    return writeBits(offset, length, bytes, kCommit, diagnosticDataSet());
  }
  void report(CFStringRef message, CFStringRef testName, int32_t indentation) override {
    Log::write(message, testName, indentation);
  }
};

}  // namespace

CFRef<CFMutableArrayRef> ControlBits::readDiagnosticRecord() try {
  DataSetRecords area;
  return listRecords<time_t>(area);
} catch (const std::exception&) {
  return {};
}

bool ControlBits::writeDiagnosticsRecord(uint8_t station, int32_t testResult,
                                         CFStringRef diagnosticData) try {
  DataSetRecords area;
  return appendRecord<time_t>(area, {time(nullptr), station, testResult, diagnosticData});
} catch (const std::exception&) {
  return false;
}

}  // namespace corvane
