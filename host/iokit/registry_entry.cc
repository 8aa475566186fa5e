#include "host/iokit/registry_entry.h"

#include "host/iokit/data_area_driver.h"
#include "host/linux/host_power.h"
#include "host/virtual_unit/properties.h"
#include "host/virtual_unit/unit_in_use.h"

namespace corvane::host {
namespace {

/// Returns whether the entry is the NVRAM. On the device the service and the entry are two names of
/// one thing: the variables can be read and set at either.
bool isNvram(const RegistryEntry& entry) {
  return entry.key == "IODTNVRAM" || entry.key == "IODeviceTree:/options";
}

/// Returns what the unit lists for the entry; null when that has been removed.
CFRef<CFDictionaryRef> copyListedProperties(const RegistryEntry& entry) {
  const CFRef<CFTypeRef> listed = entry.unit->copyRegistryEntries(entry.key);
  CFTypeRef properties = listed.get();
  if (properties && CFGetTypeID(properties) == CFArrayGetTypeID()) {
    const auto services = static_cast<CFArrayRef>(properties);
    properties = entry.index < CFArrayGetCount(services)
                     ? CFArrayGetValueAtIndex(services, entry.index)
                     : nullptr;
  }
  return CFRef<CFDictionaryRef>::retaining(static_cast<CFDictionaryRef>(properties));
}

CFRef<CFDictionaryRef> copyProperties(const RegistryEntry& entry) {
  auto listed = copyListedProperties(entry);
  if (!listed || entry.key != "IOPMPowerSource" || !entry.unit->hasHostPower()) return listed;
  auto mirrored = copyForChange(listed.get());
  putHostPower(mirrored.get());
  return CFRef<CFDictionaryRef>(mirrored.release());
}

bool isVariable(CFTypeRef value) {
  const CFTypeID type = CFGetTypeID(value);
  return type == CFStringGetTypeID() || type == CFDataGetTypeID() || type == CFNumberGetTypeID() ||
         type == CFBooleanGetTypeID();
}

}  // namespace

std::vector<std::shared_ptr<RegistryEntry>> registryEntries(const std::shared_ptr<UnitFolder>& unit,
                                                            const std::string& key) {
  const CFRef<CFTypeRef> listed = unit->copyRegistryEntries(key);
  CFIndex count = listed ? 1 : 0;
  if (listed && CFGetTypeID(listed.get()) == CFArrayGetTypeID()) {
    count = CFArrayGetCount(static_cast<CFArrayRef>(listed.get()));
  }
  std::vector<std::shared_ptr<RegistryEntry>> entries;
  for (CFIndex i = 0; i < count; ++i) {
    entries.push_back(std::make_shared<RegistryEntry>(unit, key, i));
  }
  return entries;
}

std::string nameOf(const RegistryEntry& entry) {
  const std::string fallback = entry.key.substr(entry.key.find_last_of('/') + 1);
  return textIn(copyListedProperties(entry).get(), "IORegistryEntryName").value_or(fallback);
}

CFRef<CFTypeRef> copyPropertyOf(const RegistryEntry& entry, CFStringRef property) {
  CFRef<CFTypeRef> value;
  if (entry.key == kDataAreaClass) value = copyDataSetProperty(entry.unit->dataSets(), property);
  if (isNvram(entry)) value = entry.unit->copyNvramVariable(property);
  if (value) return value;

  const auto properties = copyProperties(entry);
  if (!properties) return {};
  return CFRef<CFTypeRef>::retaining(CFDictionaryGetValue(properties.get(), property));
}

kern_return_t setPropertyOf(const RegistryEntry& entry, CFStringRef property, CFTypeRef value) {
  if (!isNvram(entry)) return kIOReturnUnsupported;
  if (!property || CFStringGetLength(property) == 0 || !value || !isVariable(value)) {
    return kIOReturnBadArgument;
  }
  try {
    entry.unit->setNvramVariable(property, value);
  } catch (const UnitBusyError& error) {
    reportUnusable(error.what());
    return kIOReturnCannotLock;
  }
  return kIOReturnSuccess;
}

kern_return_t setPropertiesOf(const RegistryEntry& entry, CFDictionaryRef properties) {
  if (entry.key != kDataAreaClass) return kIOReturnUnsupported;
  return writeDataSet(entry.unit->dataSets(), properties);
}

}  // namespace corvane::host
