#ifndef CORVANE_HOST_IOKIT_REGISTRY_ENTRY_H_
#define CORVANE_HOST_IOKIT_REGISTRY_ENTRY_H_

#include <IOKit/IOKitLib.h>

#include <memory>
#include <string>
#include <vector>

#include "host/handles.h"
#include "host/virtual_unit/unit_folder.h"
#include "platform/cf_ref.h"

namespace corvane::host {

/// An entry of the registry: the `index`-th that the unit lists under the class or path `key`.
struct RegistryEntry final : KernelObject {
  RegistryEntry(std::shared_ptr<UnitFolder> itsUnit, std::string itsKey, CFIndex itsIndex)
      : unit(std::move(itsUnit)), key(std::move(itsKey)), index(itsIndex) {}

  std::shared_ptr<UnitFolder> unit;
  std::string key;
  CFIndex index;
};

/// Returns what the unit lists under `key`, one entry for each service. Throws DeviceError.
std::vector<std::shared_ptr<RegistryEntry>> registryEntries(const std::shared_ptr<UnitFolder>& unit,
                                                            const std::string& key);

/// Returns the entry's "IORegistryEntryName"; without that its class, or the last component of its
/// path. Throws DeviceError.
std::string nameOf(const RegistryEntry& entry);

/// Returns the entry's property; null when the entry or the property is missing. Throws
/// DeviceError.
CFRef<CFTypeRef> copyPropertyOf(const RegistryEntry& entry, CFStringRef property);

/// Pass a property, or several, to the entry's driver and return the result of
/// IORegistryEntrySetCFProperty or IORegistryEntrySetCFProperties. Both throw DeviceError.
kern_return_t setPropertyOf(const RegistryEntry& entry, CFStringRef property, CFTypeRef value);
kern_return_t setPropertiesOf(const RegistryEntry& entry, CFDictionaryRef properties);

}  // namespace corvane::host

#endif  // CORVANE_HOST_IOKIT_REGISTRY_ENTRY_H_
