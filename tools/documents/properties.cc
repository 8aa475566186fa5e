#include <nlohmann/json.hpp>

#include "platform/cf_ref.h"
#include "platform/data_bytes.h"
#include "platform/number.h"
#include "platform/text.h"
#include "tools/documents/documents.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;
/// With the fields of objects by name: a dictionary has no order.
using Tree = nlohmann::json;

Tree propertyAsJson(CFTypeRef value);

Tree dictionaryAsJson(CFDictionaryRef dictionary) {
  const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  Tree object = Tree::object();
  for (size_t i = 0; i < count; ++i) {
    object[utf8Bytes(static_cast<CFStringRef>(keys[i]))] = propertyAsJson(values[i]);
  }
  return object;
}

Tree arrayAsJson(CFArrayRef array) {
  Tree list = Tree::array();
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    list.push_back(propertyAsJson(CFArrayGetValueAtIndex(array, i)));
  }
  return list;
}

Tree numberAsJson(CFNumberRef number) {
  int64_t whole = 0;
  if (CFNumberGetValue(number, kCFNumberSInt64Type, &whole)) return whole;
  double real = 0;
  CFNumberGetValue(number, kCFNumberFloat64Type, &real);
  return real;
}

Tree propertyAsJson(CFTypeRef value) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFDictionaryGetTypeID()) return dictionaryAsJson(static_cast<CFDictionaryRef>(value));
  if (type == CFArrayGetTypeID()) return arrayAsJson(static_cast<CFArrayRef>(value));
  if (type == CFStringGetTypeID()) return utf8Bytes(static_cast<CFStringRef>(value));
  if (type == CFNumberGetTypeID()) return numberAsJson(static_cast<CFNumberRef>(value));
  if (type == CFDataGetTypeID()) {
    return {{"data", hexText(bytesOf(static_cast<CFDataRef>(value)))}};
  }
  if (type == CFBooleanGetTypeID()) return value == kCFBooleanTrue;
  return {{"date", nullptr}};
}

/// Returns null where there is nothing at `pointer`.
Json at(const Json& tree, const char* pointer) {
  const Json::json_pointer place(pointer);
  return tree.contains(place) ? tree.at(place) : Json();
}

}  // namespace

Json propertiesAsJson(const Bytes* contents) {
  if (!contents) return nullptr;
  const CFRef<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, contents->data(), static_cast<CFIndex>(contents->size())));
  if (!data) return nullptr;
  const CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  return list ? Json(propertyAsJson(list.get())) : Json();
}

Json factsOf(const UnitImage& image) {
  const Json device = propertiesAsJson(image.file(kDeviceFile));
  const auto has = [&](const char* entry) { return !at(device, entry).is_null(); };
  return {{"model", at(device, "/registry/IOPlatformExpertDevice/IORegistryEntryName")},
          {"battery", at(device, "/registry/IOPMPowerSource/CurrentCapacity")},
          {"batteryMax", at(device, "/registry/IOPMPowerSource/MaxCapacity")},
          {"externalPower", at(device, "/registry/IOPMPowerSource/ExternalConnected")},
          {"power", at(device, "/power") == "host" ? "host" : "plist"},
          {"radio", at(device, "/radio") == true},
          {"bootArgs", at(propertiesAsJson(image.file(kNvramFile)), "/boot-args")},
          {"build", at(propertiesAsJson(image.file(kVersionFile)), "/ProductBuildVersion")},
          {"powerSource", has("/registry/IOPMPowerSource")},
          {"dataArea", has("/registry/VelmoDiagnosticDataAccess")},
          {"nvram", has("/registry/IODTNVRAM") && has("/registry/IODeviceTree:~1options")}};
}

}  // namespace corvane::tools
