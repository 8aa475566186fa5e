#ifndef CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_
#define CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_

#include <IOKit/IOKitLib.h>

#include "host/virtual_unit/data_sets.h"
#include "platform/cf_ref.h"

/// The driver of the service "VelmoDiagnosticDataAccess".
namespace corvane::host {

inline constexpr char kDataAreaClass[] = "VelmoDiagnosticDataAccess";

/// Returns the set's contents as the registry publishes them, with its stuck bytes; null when there
/// is no such set. Throws DeviceError when the set cannot be read.
CFRef<CFTypeRef> copyDataSetProperty(const DataSets& sets, CFStringRef set);

/// Performs a write request and returns the result of IORegistryEntrySetCFProperties.
kern_return_t writeDataSet(const DataSets& sets, CFDictionaryRef request);

}  // namespace corvane::host

#endif  // CORVANE_HOST_IOKIT_DATA_AREA_DRIVER_H_
