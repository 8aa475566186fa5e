// What the tool has on the device in place of the commands that make virtual units or work on them:
// device, unit, report and trial.

#include "tools/unit_access.h"

namespace CLI {
class App;
}

namespace corvane::tools {

void requireFaultRules() {}
void useExistingUnit() {}
bool isOfUnit(const std::exception&) { return false; }

void addDevice(CLI::App&) {}
void addUnit(CLI::App&) {}
void addReport(CLI::App&) {}
void addTrial(CLI::App&) {}

}  // namespace corvane::tools
