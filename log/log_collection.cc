#include "log/log_collection.h"

#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/out_of_memory.h"
#include "platform/property.h"

using corvane::devicePath;

// On the device "/var" leads to "/private/var"; each path stays as the software that writes the
// file spells it.
bool newLogCollection(void) {
  return corvane::unlessOutOfMemory(false, [&] {
    const auto settings = corvane::copyDictionaryFromFile(
        devicePath("/var/logs/CorvaneTov/Expected/logCollection.plist"));
    if (!settings) return false;
    return corvane::isTrue(CFDictionaryGetValue(settings.get(), CFSTR("newLogCollection")));
  });
}

bool logsCollected(void) {
  return corvane::unlessOutOfMemory(false, [&] {
    return corvane::fileExists(devicePath(newLogCollection()
                                              ? "/private/var/logs/BurnIn/.CorvaneLogsCollected"
                                              : "/private/var/logs/BurnIn/.logsCollected"));
  });
}
