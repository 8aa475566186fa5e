#include "log/log_collection.h"

#include <exception>

#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/property.h"

using corvane::devicePath;

// On the device "/var" leads to "/private/var"; each path stays as the software that writes the
// file spells it.
bool newLogCollection(void) try {
  const auto settings = corvane::copyDictionaryFromFile(
      devicePath("/var/logs/CorvaneTov/Expected/logCollection.plist"));
  if (!settings) return false;
  return corvane::isTrue(CFDictionaryGetValue(settings.get(), CFSTR("newLogCollection")));
} catch (const std::exception&) {
  return false;
}

bool logsCollected(void) try {
  return corvane::fileExists(devicePath(newLogCollection()
                                            ? "/private/var/logs/BurnIn/.CorvaneLogsCollected"
                                            : "/private/var/logs/BurnIn/.logsCollected"));
} catch (const std::exception&) {
  return false;
}
