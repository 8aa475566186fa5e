// What the tool has on the device in place of its parts for a virtual unit.

#include "tools/command.h"

namespace corvane::tools {

void requireFaultRules() {}
bool hasUnit() { return true; }

void addDeviceGroup(CLI::App&) {}
void addUnitGroup(CLI::App&) {}
void addReportGroup(CLI::App&) {}

}  // namespace corvane::tools
