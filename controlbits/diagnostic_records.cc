#include <ctime>

#include "controlbits/control_bits.h"
#include "controlbits/record_chain.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "log/log.h"
#include "platform/out_of_memory.h"

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
  int64_t now() override { return time(nullptr); }
  void report(CFStringRef message, CFStringRef testName, int32_t indentation) override {
    Log::write(message, testName, indentation);
  }
};

}  // namespace

CFRef<CFMutableArrayRef> ControlBits::readDiagnosticRecord() {
  return unlessOutOfMemory({}, [&]() -> CFRef<CFMutableArrayRef> {
    DataSetRecords area;
    return listRecords<time_t>(area);
  });
}

bool ControlBits::writeDiagnosticsRecord(uint8_t station, int32_t testResult,
                                         CFStringRef diagnosticData) {
  return unlessOutOfMemory(false, [&] {
    DataSetRecords area;
    return appendRecord<time_t>(area, {station, testResult, diagnosticData});
  });
}

}  // namespace corvane
