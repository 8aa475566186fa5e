#ifndef CORVANE_DEVICE_DEVICE_H_
#define CORVANE_DEVICE_DEVICE_H_

#include "../platform/cf_ref.h"
#include "../platform/export.h"

namespace corvane {

/// What the device is and what it carries. There is one instance in a process, made on first use
/// and never destroyed; what it hands out is borrowed from it. Nothing is locked: the first use is
/// made from one thread.
class CORVANE_EXPORT Device {
 public:
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device() = delete;

  /// The instance.
  static Device* sharedInstance();
  /// The instance, which a further initialisation leaves as it is.
  static Device* init();

  /// The model's name, which begins with its code, such as "T33": the name of the registry's
  /// "IOPlatformExpertDevice". Read until that succeeds once. Null when it cannot be read.
  CFStringRef deviceName();

  /// What the file "/System/Library/CoreServices/SystemVersion.plist" holds. Read until that
  /// succeeds once. Null when it cannot be read.
  CFDictionaryRef versionDict();

  /// "ProductBuildVersion" in `versionDict`; null when either is missing.
  static CFStringRef productBuildVersion();

  /// What the model carries, by its code. A model without a name or with an unknown code has Wi-Fi
  /// and a baseband and neither a compass nor a gyroscope. Codes T31 and T32 have Wi-Fi when the
  /// platform's Wi-Fi library finds a radio. Code T34 has a baseband when the configuration value
  /// "OPTS" holds "UMTS" before its first zero byte, which is looked up, and put into the system
  /// log, at each call; without that value it has none.
  static bool hasWiFi();
  static bool hasCompass();
  static bool hasGyro();
  static bool hasBaseband();

 private:
  Device() = default;

  CFRef<CFStringRef> _deviceName;
  CFRef<CFDictionaryRef> _versionDict;
};

}  // namespace corvane

#endif  // CORVANE_DEVICE_DEVICE_H_
