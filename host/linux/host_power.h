#ifndef CORVANE_HOST_LINUX_HOST_POWER_H_
#define CORVANE_HOST_LINUX_HOST_POWER_H_

#include "platform/cf_ref.h"
#include "platform/export.h"

namespace corvane::host {

/// The folder in which this machine's kernel lists its batteries and mains supplies; tests replace
/// it.
extern CORVANE_EXPORT const char* gPowerSupplyFolder;

/// Sets a power source's `properties` from this machine's own battery and mains supply:
/// "CurrentCapacity" and "MaxCapacity" from the first battery by name, in the battery's own
/// measure, and "ExternalConnected". A machine without a battery has no capacities. When no mains
/// supply is listed, a battery that discharges means no external power, and any other state, or no
/// battery, means external power.
void putHostPower(CFMutableDictionaryRef properties);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_HOST_POWER_H_
