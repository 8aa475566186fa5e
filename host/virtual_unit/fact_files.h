#ifndef CORVANE_HOST_VIRTUAL_UNIT_FACT_FILES_H_
#define CORVANE_HOST_VIRTUAL_UNIT_FACT_FILES_H_

#include <filesystem>

#include "host/include/unit_facts.h"
#include "host/virtual_unit/unit_file.h"
#include "platform/cf_ref.h"

/// A unit's facts are kept in its property-list files, which may hold other entries as well.
namespace corvane::host {

/// Returns the facts in `device`, the contents of device.plist. Under "registry" it holds each
/// entry's properties by class or path; the entry's name, where it is not the class, is
/// "IORegistryEntryName". The top level holds "radio" and "power" ("plist" or "host"), too. All
/// other facts are the default unit's.
UnitFacts factsFromDevice(CFDictionaryRef device);

/// Returns all facts of the unit in `folder`, with those of nvram.plist and SystemVersion.plist.
/// Throws DeviceError when a file is damaged.
UnitFacts factsFromFiles(const std::filesystem::path& folder, CFDictionaryRef device);

/// Prepares each file of the unit in `folder` whose facts differ from `facts`, device.plist last;
/// what the facts do not cover stays. `device` is null when there is no device.plist yet. Throws
/// DeviceError.
void prepareFacts(FileChanges& changes, const std::filesystem::path& folder, CFDictionaryRef device,
                  const UnitFacts& facts);

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_FACT_FILES_H_
