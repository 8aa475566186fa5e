#ifndef CORVANE_PLATFORM_WIFI_RADIO_H_
#define CORVANE_PLATFORM_WIFI_RADIO_H_

#include <cstdint>

#include "platform/export.h"

namespace corvane {

/// What the device's private Wi-Fi library answers to MobileWiFiContainsRadio: not 0 when it finds
/// a radio. 0 where there is no such library; off the device, whether the unit has a radio.
CORVANE_EXPORT int32_t mobileWiFiContainsRadio();

}  // namespace corvane

#endif  // CORVANE_PLATFORM_WIFI_RADIO_H_
