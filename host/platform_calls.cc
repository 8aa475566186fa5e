#include "host/faults.h"
#include "host/include/unit_lock.h"
#include "host/virtual_unit/unit_in_use.h"
#include "platform/device_path.h"
#include "platform/unit_lock.h"
#include "platform/wifi_radio.h"

/// What `platform/` asks of the unit in use.
namespace corvane {

std::string devicePath(const char* path) {
  const auto unit = host::unitInUse();
  return unit ? unit->filePath(path) : std::string();
}

std::shared_ptr<const void> holdUnitLock() { return std::make_shared<host::UnitLock>(); }

int32_t mobileWiFiContainsRadio() {
  if (const auto result = host::injectedFault(host::Call::MobileWiFiContainsRadio)) {
    return static_cast<int32_t>(*result);
  }
  const auto unit = host::unitInUse();
  if (!unit) return 0;
  return host::onUnitFiles(0, [&] { return unit->hasRadio() ? 1 : 0; });
}

}  // namespace corvane
