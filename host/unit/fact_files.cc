#include "host/unit/fact_files.h"

#include "host/device_error.h"
#include "host/unit/properties.h"

namespace corvane::host {
namespace {

bool hasEntry(CFDictionaryRef registry, const std::string& name) {
  return registry && CFDictionaryContainsKey(registry, createString(name).get());
}

/// The entry `name` of `registry` as it stands, to change; an empty one when it is not there.
/// Throws DeviceError when it lists several services, of which the facts cannot mean one.
CFRef<CFMutableDictionaryRef> entryForChange(CFDictionaryRef registry, const std::string& name) {
  const CFDictionaryRef entry = dictionaryIn(registry, name);
  if (!entry && hasEntry(registry, name)) {
    throw DeviceError("device.plist lists several services \"" + name +
                      "\"; change them in the file");
  }
  return copyForChange(entry);
}

/// Puts an entry where there was none, or takes it away.
void putPlainEntry(CFMutableDictionaryRef registry, const std::string& name, bool present) {
  if (!present) return put(registry, name, nullptr);
  if (!hasEntry(registry, name)) put(registry, name, createDictionary().get());
}

/// Puts what `facts` says of the power source over what is there.
void putPowerSource(CFMutableDictionaryRef registry, const UnitFacts& old, const UnitFacts& facts) {
  if (!facts.powerSource) return put(registry, "IOPMPowerSource", nullptr);
  const auto power = entryForChange(registry, "IOPMPowerSource");
  if (facts.currentCapacity != old.currentCapacity) {
    putInteger(power.get(), "CurrentCapacity", facts.currentCapacity);
  }
  if (facts.maxCapacity != old.maxCapacity) {
    putInteger(power.get(), "MaxCapacity", facts.maxCapacity);
  }
  if (facts.externalPower != old.externalPower) {
    putBool(power.get(), "ExternalConnected", facts.externalPower);
  }
  put(registry, "IOPMPowerSource", power.get());
}

bool isSamePower(const UnitFacts& a, const UnitFacts& b) {
  return a.powerSource == b.powerSource && a.currentCapacity == b.currentCapacity &&
         a.maxCapacity == b.maxCapacity && a.externalPower == b.externalPower;
}

}  // namespace

void factsFromDevice(CFDictionaryRef device, UnitFacts& facts) {
  const CFDictionaryRef registry = dictionaryIn(device, "registry");
  const CFDictionaryRef power = dictionaryIn(registry, "IOPMPowerSource");
  facts.model = textIn(dictionaryIn(registry, "IOPlatformExpertDevice"), "IORegistryEntryName");
  facts.powerSource = hasEntry(registry, "IOPMPowerSource");
  facts.currentCapacity = integerIn(power, "CurrentCapacity");
  facts.maxCapacity = integerIn(power, "MaxCapacity");
  facts.externalPower = truthIn(power, "ExternalConnected");
  facts.dataArea = hasEntry(registry, "VelmoDiagnosticDataAccess");
  facts.nvram = hasEntry(registry, "IODTNVRAM") && hasEntry(registry, "IODeviceTree:/options");
  facts.radio = truthIn(device, "radio").value_or(false);
  facts.hostPower = textIn(device, "power") == "host";
}

CFRef<CFMutableDictionaryRef> deviceWithFacts(CFDictionaryRef device, const UnitFacts& facts) {
  UnitFacts old;
  factsFromDevice(device, old);
  CFRef<CFMutableDictionaryRef> changed = copyForChange(device);
  const auto registry = copyForChange(dictionaryIn(device, "registry"));

  if (facts.model != old.model) {
    const auto expert = entryForChange(registry.get(), "IOPlatformExpertDevice");
    putText(expert.get(), "IORegistryEntryName", facts.model);
    put(registry.get(), "IOPlatformExpertDevice", facts.model ? expert.get() : nullptr);
  }
  if (!isSamePower(facts, old)) putPowerSource(registry.get(), old, facts);
  if (facts.dataArea != old.dataArea) {
    putPlainEntry(registry.get(), "VelmoDiagnosticDataAccess", facts.dataArea);
  }
  if (facts.nvram != old.nvram) {
    putPlainEntry(registry.get(), "IODTNVRAM", facts.nvram);
    putPlainEntry(registry.get(), "IODeviceTree:/options", facts.nvram);
  }
  put(changed.get(), "registry", registry.get());
  if (facts.radio != old.radio) putBool(changed.get(), "radio", facts.radio);
  if (facts.hostPower != old.hostPower) {
    putText(changed.get(), "power", facts.hostPower ? "host" : "plist");
  }
  return changed;
}

void factsFromNvram(CFDictionaryRef nvram, UnitFacts& facts) {
  facts.bootArgs = textIn(nvram, "boot-args");
}

CFRef<CFMutableDictionaryRef> nvramWithFacts(CFDictionaryRef nvram, const UnitFacts& facts) {
  CFRef<CFMutableDictionaryRef> changed = copyForChange(nvram);
  if (facts.bootArgs != textIn(nvram, "boot-args")) {
    putText(changed.get(), "boot-args", facts.bootArgs);
  }
  return changed;
}

void factsFromVersion(CFDictionaryRef version, UnitFacts& facts) {
  facts.buildVersion = textIn(version, "ProductBuildVersion");
}

CFRef<CFMutableDictionaryRef> versionWithFacts(CFDictionaryRef version, const UnitFacts& facts) {
  CFRef<CFMutableDictionaryRef> changed = copyForChange(version);
  if (facts.buildVersion != textIn(version, "ProductBuildVersion")) {
    putText(changed.get(), "ProductBuildVersion", facts.buildVersion);
  }
  return changed;
}

}  // namespace corvane::host
