#include "dataarea/data_area.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include "dataarea/data_sets.h"
#include "log/log.h"
#include "platform/cf_ref.h"
#include "platform/out_of_memory.h"
#include "platform/registry.h"
#include "platform/report.h"
#include "platform/system_log.h"

using corvane::CFRef;
using corvane::IOObject;
using corvane::kDataAreaFailure;
using corvane::Log;

uint32_t gMasterPort = 0;
uint32_t gDataArea = 0;

uint32_t getMasterPort(void) {
  return corvane::unlessOutOfMemory(1, [&]() -> uint32_t {
    if (IOMasterPort(bootstrap_port, &gMasterPort) == KERN_SUCCESS) return 0;
    corvane::reportOnStandardError("Failed to get master device port.\n");
    return 1;
  });
}

uint32_t getDataArea(void) {
  return corvane::unlessOutOfMemory(kDataAreaFailure, [&]() -> uint32_t {
    mach_timespec_t waitTime = {20, 0};
    kern_return_t result = IOKitWaitQuiet(gMasterPort, &waitTime);
    if (result != KERN_SUCCESS) return static_cast<uint32_t>(result);

    io_iterator_t found = IO_OBJECT_NULL;
    result = IOServiceGetMatchingServices(gMasterPort,
                                          IOServiceMatching("VelmoDiagnosticDataAccess"), &found);
    const IOObject iterator(found);
    if (result != KERN_SUCCESS) return static_cast<uint32_t>(result);

    gDataArea = IOIteratorNext(iterator.get());
    if (gDataArea != IO_OBJECT_NULL) return 0;
    NSLog(CFSTR("ControlBits: Get data area failure."));
    return kDataAreaFailure;
  });
}

uint32_t getDataAreaBytePtr(const uint8_t** bytes, uint32_t* length, CFStringRef set) {
  return corvane::unlessOutOfMemory(0, [&]() -> uint32_t {
    // Keeps the bytes readable until the next call; the caller copies them at once.
    static CFRef<CFTypeRef> current;

    CFRef<CFTypeRef> property = corvane::copyProperty(gDataArea, set);
    if (!property) {
      Log::writeDebug(CFSTR("getDataAreaBytePtr: dataRef invalid"), nullptr, 1);
      return 0;
    }
    if (CFGetTypeID(property.get()) != CFDataGetTypeID()) {
      Log::writeDebug(CFSTR("getDataAreaBytePtr: dataRef typeID invalid"), nullptr, 1);
      return 0;
    }
    const auto data = static_cast<CFDataRef>(property.get());
    *length = static_cast<uint32_t>(CFDataGetLength(data));
    *bytes = CFDataGetBytePtr(data);
    current = std::move(property);
    return 1;
  });
}
