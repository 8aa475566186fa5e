#ifndef CORVANE_DEVICE_DEVICE_H_
#define CORVANE_DEVICE_DEVICE_H_

#include "../platform/cf_ref.h"
#include "../platform/export.h"

namespace corvane {

/// What the device is and what it carries. There is one instance in a process, made on first use
/// and never destroyed; what it returns is borrowed from it. Nothing is locked: the first use is
/// made from one thread.
class CORVANE_EXPORT Device {
 public:
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device() = delete;

  /// Return the instance. A second initialisation does not change it.
  /// @{
  static Device* sharedInstance();
  static Device* init();
  /// @}

  /// Returns the model's name, which begins with its code, such as "T33": the name of the registry
  /// entry "IOPlatformExpertDevice". Returns null when it cannot be read; the next call tries
  /// again. Once read, the name is kept for the life of the process.
  CFStringRef deviceName();

  /// Returns the contents of the file "/System/Library/CoreServices/SystemVersion.plist". Returns
  /// null when it cannot be read; the next call tries again. Once read, they are kept.
  CFDictionaryRef versionDict();

  /// Returns "ProductBuildVersion" of `versionDict`; null when either is missing.
  static CFStringRef productBuildVersion();

  /// Return whether the model carries the part, by the code that its name begins with:
  ///
  ///     code     hasWiFi      hasCompass   hasGyro   hasBaseband
  ///     T31      radio        no           no        yes
  ///     T32      radio        yes          no        yes
  ///     T33      yes          yes          yes       yes
  ///     T34      yes          yes          no        options
  ///     T35      yes          yes          yes       yes
  ///     T36      yes          no           yes       no
  ///     T37      yes          no           no        no
  ///     T38      yes          no           no        no
  ///     other    yes          no           no        yes
  ///
  /// "other" is also a device without a name. "radio": whether the platform's Wi-Fi library finds a
  /// radio. "options": whether the configuration value "OPTS" holds "UMTS" before its first zero
  /// byte; false without that value. The last two are asked for at each call. For the options,
  /// `hasBaseband` calls `ControlBits::getReady`, which takes one more handle of the data area each
  /// time and never releases it, and leaves a line in the system log.
  /// @{
  static bool hasWiFi();
  static bool hasCompass();
  static bool hasGyro();
  static bool hasBaseband();
  /// @}

 private:
  Device() = default;

  CFRef<CFStringRef> _deviceName;
  CFRef<CFDictionaryRef> _versionDict;
};

}  // namespace corvane

#endif  // CORVANE_DEVICE_DEVICE_H_
