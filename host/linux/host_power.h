#ifndef CORVANE_HOST_LINUX_HOST_POWER_H_
#define CORVANE_HOST_LINUX_HOST_POWER_H_

#include "platform/cf_ref.h"
#include "platform/export.h"

namespace corvane::host {

/// Where this machine's kernel lists its batteries and mains supplies; tests put a folder of their
/// own there.
extern CORVANE_EXPORT const char* gPowerSupplyFolder;

/// Makes a power source's `properties` say what this machine's own battery and mains supply say:
/// "CurrentCapacity" and "MaxCapacity" of its first battery by name, in the measure that the
/// battery has, and "ExternalConnected". A machine without a battery has no capacities. Where no
/// mains supply is listed, external power is what the battery's state tells, and without a battery
/// it is there: something makes the machine run.
void putHostPower(CFMutableDictionaryRef properties);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_HOST_POWER_H_
