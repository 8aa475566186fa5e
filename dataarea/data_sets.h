#ifndef CORVANE_DATAAREA_DATA_SETS_H_
#define CORVANE_DATAAREA_DATA_SETS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "platform/out_of_memory.h"

namespace corvane {

/// Returns the name of the data set of the control-bit bytes and the diagnostic records. Returns
/// null, which names no data set, when there is no memory for the name.
inline CFStringRef diagnosticDataSet() {
  return unlessOutOfMemory(nullptr, [&] { return CFSTR("VelmoDiagnosticData"); });
}

/// Returns the name of the data set that holds the configuration area; null as above.
inline CFStringRef configurationDataSet() {
  return unlessOutOfMemory(nullptr, [&] { return CFSTR("VelmoDiagnosticDataSysCfg"); });
}

/// The key of the set's name in a write request.
#define CORVANE_DATA_SET_KEY "VelmoDiagnosticDataSet"

/// The flag with which `writeBits` writes permanently.
inline constexpr int32_t kCommit = 1;

/// What the data-area functions return for a failure of their own. Where a platform call fails they
/// return its code instead.
inline constexpr uint32_t kDataAreaFailure = 5;

}  // namespace corvane

#endif  // CORVANE_DATAAREA_DATA_SETS_H_
