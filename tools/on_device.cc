// The tool's part that only a virtual unit has, as it is on the device.

#include "tools/command.h"
#include "tools/unit_lock.h"

namespace corvane::tools {

bool hasUnit() { return true; }

void addDeviceGroup(CLI::App&) {}
void addUnitGroup(CLI::App&) {}
void addReportGroup(CLI::App&) {}

UnitLock::UnitLock() = default;

}  // namespace corvane::tools
