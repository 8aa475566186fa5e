#include "tools/command.h"

namespace corvane::tools {

void addDeviceGroup(CLI::App&) {}

}  // namespace corvane::tools
