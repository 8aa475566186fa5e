#include "platform/wifi_radio.h"

#include <dlfcn.h>

namespace corvane {

int32_t mobileWiFiContainsRadio() {
  // The library is private, so that no SDK lets a program link with it, and not every system has
  // it.
  static void* const library =
      dlopen("/System/Library/PrivateFrameworks/MobileWiFi.framework/MobileWiFi", RTLD_LAZY);
  if (!library) return 0;
  const auto containsRadio =
      reinterpret_cast<int32_t (*)()>(dlsym(library, "MobileWiFiContainsRadio"));
  return containsRadio ? containsRadio() : 0;
}

}  // namespace corvane
