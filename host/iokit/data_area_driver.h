#ifndef CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_
#define CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_

#include <IOKit/IOKitLib.h>

#include "host/unit/data_sets.h"
#include "platform/cf_ref.h"

/// The driver behind the service "VelmoDiagnosticDataAccess".
namespace corvane::host {

inline constexpr char kDataAreaClass[] = "VelmoDiagnosticDataAccess";

/// The set's contents as the registry publishes them, stuck bytes included; null when there is
/// none.
CFRef<CFTypeRef> copyDataSetProperty(const DataSets& sets, CFStringRef set);

/// Carries out a write request; the result of IORegistryEntrySetCFProperties.
kern_return_t writeDataSet(const DataSets& sets, CFDictionaryRef request);

}  // namespace corvane::host

#endif  // CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_
