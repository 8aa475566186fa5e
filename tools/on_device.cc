// The tool's part that only a virtual unit has, as it is on the device.

#include "tools/command.h"

namespace corvane::tools {

bool hasUnit() { return true; }

void addDeviceGroup(CLI::App&) {}
void addUnitGroup(CLI::App&) {}
void addReportGroup(CLI::App&) {}

}  // namespace corvane::tools
