#ifndef CORVANE_DATAAREA_DATA_SETS_H_
#define CORVANE_DATAAREA_DATA_SETS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <exception>

namespace corvane {

/// Returns the name of the data set of the control-bit bytes and the diagnostic records. Returns
/// null, which names no data set, when there is no memory for the name.
inline CFStringRef diagnosticDataSet() noexcept try {
  return CFSTR("VelmoDiagnosticData");
} catch (const std::exception&) {
  return nullptr;
}

/// Returns the name of the data set that holds the configuration area; null as above.
inline CFStringRef configurationDataSet() noexcept try {
  return CFSTR("VelmoDiagnosticDataSysCfg");
} catch (const std::exception&) {
  return nullptr;
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
