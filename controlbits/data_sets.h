#ifndef CORVANE_CONTROLBITS_DATA_SETS_H_
#define CORVANE_CONTROLBITS_DATA_SETS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace corvane {

/// The data set of control-bit bytes and diagnostic records, and the configuration area's.
inline CFStringRef diagnosticDataSet() { return CFSTR("VelmoDiagnosticData"); }
inline CFStringRef configurationDataSet() { return CFSTR("VelmoDiagnosticDataSysCfg"); }

/// Fixed places among the control-bit bytes.
inline constexpr uint32_t kLogCollectionOffset = 9;
inline constexpr uint32_t kSuiteStatusOffset = 18;

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_DATA_SETS_H_
