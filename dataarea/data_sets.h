#ifndef CORVANE_DATAAREA_DATA_SETS_H_
#define CORVANE_DATAAREA_DATA_SETS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace corvane {

/// The data set of the control-bit bytes and the diagnostic records.
inline CFStringRef diagnosticDataSet() { return CFSTR("VelmoDiagnosticData"); }

/// The data set that holds the configuration area.
inline CFStringRef configurationDataSet() { return CFSTR("VelmoDiagnosticDataSysCfg"); }

/// What the data-area functions return for a failure of their own. Where a platform call fails they
/// return its code instead.
inline constexpr uint32_t kDataAreaFailure = 5;

}  // namespace corvane

#endif  // CORVANE_DATAAREA_DATA_SETS_H_
