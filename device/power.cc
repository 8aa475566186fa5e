#include "device/power.h"

#include <exception>

#include "log/log.h"
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

int32_t getBatteryCapacity(void) try {
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
} catch (const std::exception&) {
  return -1;
}

bool externalPowerConnected(void) try {
  const IOObject source = firstService(kPowerSource);
  if (!source) return false;
  const CFRef<CFTypeRef> connected = copyProperty(source, CFSTR("ExternalConnected"));
  return corvane::isTrue(connected.get());
} catch (const std::exception&) {
  return false;
}
