#include <map>
#include <nlohmann/json.hpp>

#include "platform/cf_ref.h"
#include "platform/data_bytes.h"
#include "platform/text.h"
#include "tools/documents/unit_document.h"
#include "tools/inspect/value_text.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

Json propertyAsJson(CFTypeRef value);

Json dictionaryAsJson(CFDictionaryRef dictionary) {
  const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  // By name: a dictionary has no order.
  std::map<std::string, Json> entries;
  for (size_t i = 0; i < count; ++i) {
    entries[utf8Bytes(static_cast<CFStringRef>(keys[i]))] = propertyAsJson(values[i]);
  }
  Json object = Json::object();
  for (auto& [name, entry] : entries) object[name] = std::move(entry);
  return object;
}

Json arrayAsJson(CFArrayRef array) {
  Json list = Json::array();
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    list.push_back(propertyAsJson(CFArrayGetValueAtIndex(array, i)));
  }
  return list;
}

Json numberAsJson(CFNumberRef number) {
  int64_t whole = 0;
  if (CFNumberGetValue(number, kCFNumberSInt64Type, &whole)) return whole;
  double real = 0;
  CFNumberGetValue(number, kCFNumberFloat64Type, &real);
  return real;
}

Json dataAsJson(CFDataRef data) { return {{"data", hexText(bytesOf(data))}}; }

Json propertyAsJson(CFTypeRef value) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFDictionaryGetTypeID()) return dictionaryAsJson(static_cast<CFDictionaryRef>(value));
  if (type == CFArrayGetTypeID()) return arrayAsJson(static_cast<CFArrayRef>(value));
  if (type == CFStringGetTypeID()) return utf8Bytes(static_cast<CFStringRef>(value));
  if (type == CFNumberGetTypeID()) return numberAsJson(static_cast<CFNumberRef>(value));
  if (type == CFDataGetTypeID()) return dataAsJson(static_cast<CFDataRef>(value));
  if (type == CFBooleanGetTypeID()) return value == kCFBooleanTrue;
  return {{"date", nullptr}};
}

Json at(const Json& tree, std::initializer_list<const char*> keys) {
  const Json* place = &tree;
  for (const char* key : keys) {
    if (!place->is_object() || !place->contains(key)) return nullptr;
    place = &(*place)[key];
  }
  return *place;
}

Json propertiesIn(const UnitImage& image, const char* path) {
  const Bytes* contents = image.file(path);
  return contents ? propertiesAsJson(*contents) : Json();
}

}  // namespace

Json propertiesAsJson(std::span<const uint8_t> contents) {
  const CFRef<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, contents.data(), static_cast<CFIndex>(contents.size())));
  if (!data) return nullptr;
  const CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  return list ? propertyAsJson(list.get()) : Json();
}

Json factsOf(const UnitImage& image) {
  const Json device = propertiesIn(image, kDeviceFile);
  const Json registry = at(device, {"registry"});
  const Json power = at(registry, {"IOPMPowerSource"});
  const auto isPresent = [&](const char* entry) { return !at(registry, {entry}).is_null(); };
  return {{"model", at(registry, {"IOPlatformExpertDevice", "IORegistryEntryName"})},
          {"battery", at(power, {"CurrentCapacity"})},
          {"batteryMax", at(power, {"MaxCapacity"})},
          {"externalPower", at(power, {"ExternalConnected"})},
          {"power", at(device, {"power"}) == "host" ? "host" : "plist"},
          {"radio", at(device, {"radio"}) == true},
          {"bootArgs", at(propertiesIn(image, kNvramFile), {"boot-args"})},
          {"build", at(propertiesIn(image, kVersionFile), {"ProductBuildVersion"})},
          {"powerSource", isPresent("IOPMPowerSource")},
          {"dataArea", isPresent("VelmoDiagnosticDataAccess")},
          {"nvram", isPresent("IODTNVRAM") && isPresent("IODeviceTree:/options")}};
}

}  // namespace corvane::tools
