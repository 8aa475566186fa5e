#include "device/device.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <new>

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

/// Returns whether the device has the part; false when memory runs out.
bool isPresent(Presence presence) try {
  switch (presence) {
    case Presence::kAbsent:
      return false;
    case Presence::kPresent:
      return true;
    case Presence::kRadioQuery:
      return mobileWiFiContainsRadio() != 0;
    case Presence::kOptions:
      break;
  }
  return optionsHoldUmts();
} catch (const std::exception&) {
  return false;
}

/// Returns the device's model, asking for its name once.
const Model& model() try {
  return modelOf(utf8Bytes(Device::sharedInstance()->deviceName()));
} catch (const std::exception&) {
  return kUnknownModel;
}

}  // namespace

Device* Device::sharedInstance() { return gSharedInstance ? gSharedInstance : init(); }

Device* Device::init() {
  // In static storage, so that there is an instance even when memory runs out.
  alignas(Device) static std::byte storage[sizeof(Device)];
  if (!gSharedInstance) gSharedInstance = new (storage) Device;
  return gSharedInstance;
}

CFStringRef Device::deviceName() try {
  if (_deviceName) return _deviceName.get();
  const IOObject expert = firstService("IOPlatformExpertDevice");
  if (!expert) return nullptr;

  io_name_t name = {};
  if (IORegistryEntryGetName(expert.get(), name) == KERN_SUCCESS) {
    _deviceName.reset(CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
  }
  return _deviceName.get();
} catch (const std::exception&) {
  return nullptr;
}

CFDictionaryRef Device::versionDict() try {
  if (!_versionDict) {
    _versionDict =
        copyDictionaryFromFile(devicePath("/System/Library/CoreServices/SystemVersion.plist"));
  }
  return _versionDict.get();
} catch (const std::exception&) {
  return nullptr;
}

CFStringRef Device::productBuildVersion() try {
  const CFDictionaryRef version = sharedInstance()->versionDict();
  if (!version) return nullptr;
  const CFTypeRef build = CFDictionaryGetValue(version, CFSTR("ProductBuildVersion"));
  return build && CFGetTypeID(build) == CFStringGetTypeID() ? static_cast<CFStringRef>(build)
                                                            : nullptr;
} catch (const std::exception&) {
  return nullptr;
}

bool Device::hasWiFi() { return isPresent(model().wifi); }

bool Device::hasCompass() { return isPresent(model().compass); }

bool Device::hasGyro() { return isPresent(model().gyroscope); }

bool Device::hasBaseband() { return isPresent(model().baseband); }

}  // namespace corvane
