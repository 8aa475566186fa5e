#include "host/include/virtual_device.h"
#include "tools/unit_access.h"

namespace corvane::tools {

using host::VirtualDevice;

void requireFaultRules() {
  const std::string fault = VirtualDevice::faultInEnvironment();
  if (!fault.empty()) throw CommandError(kUsage, fault);
}

void useExistingUnit() { VirtualDevice::existing(VirtualDevice::defaultFolder()).use(); }

bool isOfUnit(const std::exception& error) {
  return dynamic_cast<const host::DeviceError*>(&error) != nullptr;
}

}  // namespace corvane::tools
