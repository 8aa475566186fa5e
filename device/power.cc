#include "device/power.h"

#include "log/log.h"
#include "platform/out_of_memory.h"
#include "platform/property.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "platform/truncate.h"

using corvane::CFRef;
using corvane::copyProperty;
using corvane::firstService;
using corvane::floatValue;
using corvane::IOObject;
using corvane::Log;

namespace {

constexpr char kPowerSource[] = "IOPMPowerSource";

}  // namespace

int32_t getBatteryCapacity(void) {
  return corvane::unlessOutOfMemory(-1, [&]() -> int32_t {
    const IOObject source = firstService(kPowerSource);
    if (!source) return -1;
    const CFRef<CFTypeRef> current = copyProperty(source, CFSTR("CurrentCapacity"));
    const CFRef<CFTypeRef> maximum = copyProperty(source, CFSTR("MaxCapacity"));
    if (!current) return -1;

    // In 32 bits throughout, as stations know the figures: 53 of 100 is 52 percent.
    const float share = floatValue(current.get()) / floatValue(maximum.get());
    const int32_t percent = corvane::truncatedToInt32(share * 100.0F);
    Log::writeDebug(corvane::formatText(CFSTR("Battery Capacity = %d"), percent).get(),
                    CFSTR("Corvane"), 0);
    return percent;
  });
}

bool externalPowerConnected(void) {
  return corvane::unlessOutOfMemory(false, [&] {
    const IOObject source = firstService(kPowerSource);
    if (!source) return false;
    const CFRef<CFTypeRef> connected = copyProperty(source, CFSTR("ExternalConnected"));
    return corvane::isTrue(connected.get());
  });
}
