#include "host/virtual_unit/fact_files.h"

#include "host/include/device_error.h"
#include "host/virtual_unit/properties.h"
#include "host/virtual_unit/property_file.h"
#include "host/virtual_unit/unit_folder.h"

namespace corvane::host {
namespace {

bool hasEntry(CFDictionaryRef registry, const std::string& name) {
  return registry && CFDictionaryContainsKey(registry, createString(name).get());
}

/// Returns a copy of the entry `name` of `registry` to change; an empty one when there is none.
/// Throws DeviceError when it lists several services: the facts are about one.
CFRef<CFMutableDictionaryRef> entryForChange(CFDictionaryRef registry, const std::string& name) {
  const CFDictionaryRef entry = dictionaryIn(registry, name);
  if (!entry && hasEntry(registry, name)) {
    throw DeviceError("device.plist lists several services \"" + name +
                      "\"; change them in the file");
  }
  return copyForChange(entry);
}

/// Adds an entry without properties unless there is one, or removes it.
void putPlainEntry(CFMutableDictionaryRef registry, const std::string& name, bool present) {
  if (!present) return put(registry, name, nullptr);
  if (!hasEntry(registry, name)) put(registry, name, createDictionary().get());
}

/// Changes the power source where `facts` differ from `old`.
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

/// A fact that is a text in a property-list file.
struct TextFact {
  std::string_view file;
  const char* key;
  std::optional<std::string> UnitFacts::*value;
};

constexpr TextFact kTextFacts[] = {{kVersionFile, "ProductBuildVersion", &UnitFacts::buildVersion},
                                   {kNvramFile, "boot-args", &UnitFacts::bootArgs}};

/// Returns the contents of device.plist with the facts in it.
CFRef<CFMutableDictionaryRef> deviceWithFacts(CFDictionaryRef device, const UnitFacts& facts) {
  const UnitFacts old = factsFromDevice(device);
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

}  // namespace

UnitFacts factsFromDevice(CFDictionaryRef device) {
  const CFDictionaryRef registry = dictionaryIn(device, "registry");
  const CFDictionaryRef power = dictionaryIn(registry, "IOPMPowerSource");
  UnitFacts facts;
  facts.model = textIn(dictionaryIn(registry, "IOPlatformExpertDevice"), "IORegistryEntryName");
  facts.powerSource = hasEntry(registry, "IOPMPowerSource");
  facts.currentCapacity = integerIn(power, "CurrentCapacity");
  facts.maxCapacity = integerIn(power, "MaxCapacity");
  facts.externalPower = boolIn(power, "ExternalConnected");
  facts.dataArea = hasEntry(registry, "VelmoDiagnosticDataAccess");
  facts.nvram = hasEntry(registry, "IODTNVRAM") && hasEntry(registry, "IODeviceTree:/options");
  facts.radio = boolIn(device, "radio").value_or(false);
  facts.hostPower = textIn(device, "power") == "host";
  return facts;
}

UnitFacts factsFromFiles(const std::filesystem::path& folder, CFDictionaryRef device) {
  UnitFacts facts = factsFromDevice(device);
  for (const auto& [file, key, value] : kTextFacts) {
    facts.*value = textIn(readPropertyFile(folder / file).get(), key);
  }
  return facts;
}

void prepareFacts(FileChanges& changes, const std::filesystem::path& folder, CFDictionaryRef device,
                  const UnitFacts& facts) {
  for (const auto& [name, key, value] : kTextFacts) {
    const std::filesystem::path file = folder / name;
    const auto old = readPropertyFile(file);
    if (textIn(old.get(), key) == facts.*value) continue;
    const auto changed = copyForChange(old.get());
    putText(changed.get(), key, facts.*value);
    createFolders(file.parent_path(), Durability::kDurable);
    preparePropertyFile(changes, file, changed.get());
  }
  const auto changed = deviceWithFacts(device, facts);
  if (!device || !CFEqual(device, changed.get())) {
    preparePropertyFile(changes, folder / kDeviceFile, changed.get());
  }
}

}  // namespace corvane::host
