#ifndef CORVANE_DATAAREA_SET_NAMES_H_
#define CORVANE_DATAAREA_SET_NAMES_H_

#include <CoreFoundation/CoreFoundation.h>

namespace corvane {

/// The data set of control-bit bytes and diagnostic records, and the configuration area's.
inline CFStringRef diagnosticDataSet() { return CFSTR("VelmoDiagnosticData"); }
inline CFStringRef configurationDataSet() { return CFSTR("VelmoDiagnosticDataSysCfg"); }

}  // namespace corvane

#endif  // CORVANE_DATAAREA_SET_NAMES_H_
