#ifndef CORVANE_HOST_UNIT_FACT_FILES_H_
#define CORVANE_HOST_UNIT_FACT_FILES_H_

#include "host/unit_facts.h"
#include "platform/cf_ref.h"

/// How a unit's facts stand in its property-list files. Each function takes the dictionary at the
/// top of one file; what the facts do not speak of is left alone.
namespace corvane::host {

/// device.plist: "registry" holds, by class or path, each entry's properties; the entry's name,
/// where it is not the class, is "IORegistryEntryName". "radio" and "power" ("plist" or "host")
/// stand beside it.
void factsFromDevice(CFDictionaryRef device, UnitFacts& facts);
CFRef<CFMutableDictionaryRef> deviceWithFacts(CFDictionaryRef device, const UnitFacts& facts);

/// nvram.plist: the variables by name.
void factsFromNvram(CFDictionaryRef nvram, UnitFacts& facts);
CFRef<CFMutableDictionaryRef> nvramWithFacts(CFDictionaryRef nvram, const UnitFacts& facts);

/// SystemVersion.plist.
void factsFromVersion(CFDictionaryRef version, UnitFacts& facts);
CFRef<CFMutableDictionaryRef> versionWithFacts(CFDictionaryRef version, const UnitFacts& facts);

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_FACT_FILES_H_
