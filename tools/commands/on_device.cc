// What the tool has on the device in place of its parts for a virtual unit.

#include "tools/command.h"
#include "tools/station_commands.h"

namespace corvane::tools {

void requireFaultRules() {}
bool hasUnit() { return true; }
void useExistingUnit() {}

void addDeviceGroup(CLI::App&) {}
void addUnitGroup(CLI::App&) {}
void addReportGroup(CLI::App&) {}
void addTrialCommand(CLI::App&) {}

}  // namespace corvane::tools
