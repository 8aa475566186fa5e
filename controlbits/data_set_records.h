#ifndef CORVANE_CONTROLBITS_DATA_SET_RECORDS_H_
#define CORVANE_CONTROLBITS_DATA_SET_RECORDS_H_

#include "controlbits/record_chain.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "log/log.h"

namespace corvane {

/// The record area of the unit's data set, written permanently and reported on in the test log.
class DataSetRecords final : public RecordArea {
 public:
  uint32_t read(uint32_t offset, uint32_t length, void* destination) override {
    return readBits(offset, length, destination, diagnosticDataSet());
  }
  uint32_t write(uint32_t offset, uint32_t length, const void* bytes) override {
    return writeBits(offset, length, bytes, 1, diagnosticDataSet());
  }
  void report(CFStringRef message, CFStringRef testName, int32_t indentation) override {
    Log::write(message, testName, indentation);
  }
};

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_DATA_SET_RECORDS_H_
