#ifndef CORVANE_PLATFORM_WIFI_RADIO_H_
#define CORVANE_PLATFORM_WIFI_RADIO_H_

#include <cstdint>

#include "platform/export.h"

namespace corvane {

/// Returns what the device's private Wi-Fi library answers to MobileWiFiContainsRadio: not 0 when
/// it finds a radio. 0 when there is no such library. Off the device, whether the unit has a radio.
CORVANE_EXPORT int32_t mobileWiFiContainsRadio();

}  // namespace corvane

#endif  // CORVANE_PLATFORM_WIFI_RADIO_H_
