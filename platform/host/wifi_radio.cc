#include "platform/wifi_radio.h"

#include "platform/host/faults.h"
#include "platform/host/unit/unit_in_use.h"

namespace corvane {

int32_t mobileWiFiContainsRadio() {
  if (const auto result = host::failing(host::Call::MobileWiFiContainsRadio)) {
    return static_cast<int32_t>(*result);
  }
  const host::InsideHost inside;
  const auto unit = host::unitInUse();
  if (!unit) return 0;
  return host::onUnitFiles(0, [&] { return unit->hasRadio() ? 1 : 0; });
}

}  // namespace corvane
