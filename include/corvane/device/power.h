#ifndef CORVANE_DEVICE_POWER_H_
#define CORVANE_DEVICE_POWER_H_

/// @file
/// How the device is powered.

#include <stdbool.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Returns the battery's charge in whole percent, truncated: "CurrentCapacity" over "MaxCapacity"
/// of the first "IOPMPowerSource" service. The division is made in 32-bit floats: 53 of 100
/// gives 52. Not clamped: the result may exceed 100, and without a maximum, or with one of 0, it is
/// 2147483647, or 0 when the current capacity is 0 as well. Returns -1 when the unit has no power
/// source or the source does not publish its current capacity.
CORVANE_EXPORT int32_t getBatteryCapacity(void);

/// Returns whether external power is connected: "ExternalConnected" of the first "IOPMPowerSource"
/// service. Returns false when the unit has no power source or the source does not publish it.
CORVANE_EXPORT bool externalPowerConnected(void);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DEVICE_POWER_H_
