#ifndef CORVANE_PROCESSES_NUMERIC_COMPARE_H_
#define CORVANE_PROCESSES_NUMERIC_COMPARE_H_

/// @file
/// The order of process ids in a report.

#include <CoreFoundation/CoreFoundation.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Compares two strings by their 32-bit integer values, as CFStringGetIntValue reads them. Returns
/// kCFCompareLessThan for equal values, and kCFCompareEqualTo when `receiver` is null or `other` is
/// not a string.
CORVANE_EXPORT CFComparisonResult numericCompare(CFStringRef receiver, CFTypeRef other);

CORVANE_EXTERN_C_END

#endif  // CORVANE_PROCESSES_NUMERIC_COMPARE_H_
