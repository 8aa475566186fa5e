#ifndef CORVANE_PLATFORM_WIFI_RADIO_H_
#define CORVANE_PLATFORM_WIFI_RADIO_H_

#include <cstdint>

#include "platform/export.h"

namespace corvane {

/// Returns the result of MobileWiFiContainsRadio in the device's private Wi-Fi library: not 0 when
/// it finds a radio. Returns 0 when there is no such library. Off the device, returns whether the
/// unit has a radio.
CORVANE_PLATFORM_EXPORT int32_t mobileWiFiContainsRadio();

}  // namespace corvane

#endif  // CORVANE_PLATFORM_WIFI_RADIO_H_
