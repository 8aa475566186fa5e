#include "device/device.h"

#include <cstring>
#include <initializer_list>
#include <string_view>

#include "controlbits/control_bits.h"
#include "device/options.h"
#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "platform/wifi_radio.h"

namespace corvane {
namespace {

Device* gSharedInstance = nullptr;

/// Whether the device's name begins with one of the model codes. No name begins with none.
bool isModel(std::initializer_list<std::string_view> codes) {
  const std::string name = utf8Bytes(Device::sharedInstance()->deviceName());
  return std::any_of(codes.begin(), codes.end(),
                     [&name](std::string_view code) { return name.starts_with(code); });
}

bool optionsHoldUmts() {
  ControlBits::getReady();
  ControlBits::readArea();
  const std::optional<std::string> options = readOptions();
  if (!options) {
    NSLog(CFSTR("Unable to read OPTS syscfg. %d"), 0);
    return false;
  }
  // As text: both end at the value's first zero byte.
  NSLog(CFSTR("Syscfg OPTS: %s"), options->c_str());
  return std::strstr(options->c_str(), "UMTS") != nullptr;
}

}  // namespace

Device* Device::sharedInstance() { return gSharedInstance ? gSharedInstance : init(); }

Device* Device::init() {
  if (!gSharedInstance) gSharedInstance = new Device;
  return gSharedInstance;
}

CFStringRef Device::deviceName() {
  if (_deviceName) return _deviceName.get();
  const IOObject expert = firstService("IOPlatformExpertDevice");
  if (!expert) return nullptr;

  io_name_t name = {};
  if (IORegistryEntryGetName(expert.get(), name) == KERN_SUCCESS) {
    _deviceName.reset(CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
  }
  return _deviceName.get();
}

CFDictionaryRef Device::versionDict() {
  if (!_versionDict) {
    _versionDict =
        copyDictionaryFromFile(devicePath("/System/Library/CoreServices/SystemVersion.plist"));
  }
  return _versionDict.get();
}

CFStringRef Device::productBuildVersion() {
  const CFDictionaryRef version = sharedInstance()->versionDict();
  if (!version) return nullptr;
  const CFTypeRef build = CFDictionaryGetValue(version, CFSTR("ProductBuildVersion"));
  return build && CFGetTypeID(build) == CFStringGetTypeID() ? static_cast<CFStringRef>(build)
                                                            : nullptr;
}

bool Device::hasWiFi() {
  if (isModel({"T31", "T32"})) return mobileWiFiContainsRadio() != 0;
  return true;
}

bool Device::hasCompass() { return isModel({"T32", "T33", "T34", "T35"}); }

bool Device::hasGyro() { return isModel({"T33", "T36", "T35"}); }

bool Device::hasBaseband() {
  if (isModel({kModelWithOptions})) return optionsHoldUmts();
  return !isModel({"T37", "T36", "T38"});
}

}  // namespace corvane
