#include "device/device.h"

#include <cstring>

#include "controlbits/control_bits.h"
#include "device/models.h"
#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "platform/wifi_radio.h"

namespace corvane {
namespace {

Device* gSharedInstance = nullptr;

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

bool isPresent(Presence presence) {
  switch (presence) {
    case Presence::kNo:
      return false;
    case Presence::kYes:
      return true;
    case Presence::kRadioQuery:
      return mobileWiFiContainsRadio() != 0;
    case Presence::kOptions:
      return optionsHoldUmts();
  }
  return false;
}

/// Returns whether the device has the part, by its name, which is asked for once.
bool hasPart(Presence Model::*part) {
  return isPresent(modelOf(utf8Bytes(Device::sharedInstance()->deviceName())).*part);
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

bool Device::hasWiFi() { return hasPart(&Model::wifi); }

bool Device::hasCompass() { return hasPart(&Model::compass); }

bool Device::hasGyro() { return hasPart(&Model::gyroscope); }

bool Device::hasBaseband() { return hasPart(&Model::baseband); }

}  // namespace corvane
