#include "device/device.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "controlbits/control_bits.h"
#include "device/models.h"
#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/out_of_memory.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "platform/wifi_radio.h"

namespace corvane {
namespace {

Device* sharedInstance = nullptr;

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
bool isPresent(Presence presence) {
  return unlessOutOfMemory(false, [&] {
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
  });
}

/// Returns the device's model, asking for its name once.
const Model& model() {
  return unlessOutOfMemory(kUnknownModel, []() -> const Model& {
    return modelOf(utf8Bytes(Device::sharedInstance()->deviceName()));
  });
}

}  // namespace

Device* Device::sharedInstance() {
  return corvane::sharedInstance ? corvane::sharedInstance : init();
}

Device* Device::init() {
  // In static storage, so that there is an instance even when memory runs out.
  alignas(Device) static std::byte storage[sizeof(Device)];
  if (!corvane::sharedInstance) corvane::sharedInstance = new (storage) Device;
  return corvane::sharedInstance;
}

CFStringRef Device::deviceName() {
  return unlessOutOfMemory(nullptr, [&]() -> CFStringRef {
    if (_deviceName) return _deviceName.get();
    const IOObject expert = firstService("IOPlatformExpertDevice");
    if (!expert) return nullptr;

    io_name_t name = {};
    if (IORegistryEntryGetName(expert.get(), name) == KERN_SUCCESS) {
      _deviceName.reset(
          CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
    }
    return _deviceName.get();
  });
}

CFDictionaryRef Device::versionDict() {
  return unlessOutOfMemory(nullptr, [&]() -> CFDictionaryRef {
    if (!_versionDict) {
      _versionDict =
          copyDictionaryFromFile(devicePath("/System/Library/CoreServices/SystemVersion.plist"));
    }
    return _versionDict.get();
  });
}

CFStringRef Device::productBuildVersion() {
  return unlessOutOfMemory(nullptr, [&]() -> CFStringRef {
    const CFDictionaryRef version = sharedInstance()->versionDict();
    if (!version) return nullptr;
    const CFTypeRef build = CFDictionaryGetValue(version, CFSTR("ProductBuildVersion"));
    return build && CFGetTypeID(build) == CFStringGetTypeID() ? static_cast<CFStringRef>(build)
                                                              : nullptr;
  });
}

bool Device::hasWiFi() { return isPresent(model().wifi); }

bool Device::hasCompass() { return isPresent(model().compass); }

bool Device::hasGyro() { return isPresent(model().gyroscope); }

bool Device::hasBaseband() { return isPresent(model().baseband); }

}  // namespace corvane
