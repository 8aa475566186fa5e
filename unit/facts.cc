#include "unit/facts.h"

#include <vector>

#include "device/device.h"
#include "device/models.h"
#include "device/power.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "unit/error.h"
#include "unit/keys.h"

namespace corvane::unit {
namespace {

std::optional<std::string> textOrNothing(CFStringRef text) {
  if (!text) return {};
  return utf8Bytes(text);
}

std::optional<int> battery() {
  const int32_t percent = getBatteryCapacity();
  if (percent == -1) return {};
  return percent;
}

/// Returns nothing when no power source reports it; the library returns false then.
std::optional<bool> externalPower() {
  const IOObject source = firstService("IOPMPowerSource");
  if (!source || !copyProperty(source, CFSTR("ExternalConnected"))) return {};
  return externalPowerConnected();
}

std::optional<std::map<std::string, std::string>> versionEntries() {
  const CFDictionaryRef version = Device::sharedInstance()->versionDict();
  if (!version) return {};
  const auto count = static_cast<size_t>(CFDictionaryGetCount(version));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(version, keys.data(), values.data());
  std::map<std::string, std::string> entries;
  for (size_t i = 0; i < count; ++i) {
    entries[utf8Bytes(static_cast<CFStringRef>(keys[i]))] =
        utf8Bytes(formatText(CFSTR("%@"), values[i]).get());
  }
  return entries;
}

void readOptionsInto(Facts& facts) try {
  const auto value = valueIn(readArea(), keyOf("OPTS"));
  facts.areOptionsSet = value && !value->empty();
  if (value) facts.options = textOf(*value);
} catch (const Error&) {
  // Whether they are set is not known.
}

}  // namespace

Facts readFacts() {
  Facts facts;
  facts.model = textOrNothing(Device::sharedInstance()->deviceName());
  facts.build = textOrNothing(Device::productBuildVersion());
  facts.hasWiFi = Device::hasWiFi();
  facts.hasCompass = Device::hasCompass();
  facts.hasGyro = Device::hasGyro();
  facts.hasBaseband = Device::hasBaseband();
  facts.needsOptions = facts.model && modelOf(*facts.model).baseband == Presence::kOptions;
  if (facts.needsOptions) readOptionsInto(facts);
  facts.battery = battery();
  facts.externalPower = externalPower();
  facts.version = versionEntries();
  return facts;
}

}  // namespace corvane::unit
