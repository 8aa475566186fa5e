#ifndef CORVANE_TOOLS_COMMAND_H_
#define CORVANE_TOOLS_COMMAND_H_

#include <string>

#include "platform/cf_ref.h"
#include "tools/command_error.h"

namespace CLI {
class App;
}

/// What the command groups share.
namespace corvane::tools {

/// Returns `text` as the library takes it. Throws CommandError when it is not UTF-8.
CFRef<CFStringRef> textArgument(const std::string& text);

/// Opens the unit. Throws CommandError when it cannot; the platform has reported why on standard
/// error.
void requireUnit();

/// Throws CommandError when the fault rules in the environment cannot be used.
void requireFaultRules();

/// Returns whether there is a unit. Unlike opening it, this creates none.
bool hasUnit();
/// Makes the unit that is there the one in use, so that nothing makes another. Throws CommandError
/// when there is none.
void useExistingUnit();

void addStatusGroup(CLI::App& app);
void addPoisonGroup(CLI::App& app);
void addRecordGroup(CLI::App& app);
void addSyscfgGroup(CLI::App& app);
/// Adds `inspect`, which needs no unit.
void addInspectGroup(CLI::App& app);
void addBootArgsGroup(CLI::App& app);
/// Adds `facts`.
void addFactsGroup(CLI::App& app);
void addLogGroup(CLI::App& app);
/// Adds `ps`, which needs a unit only to write to its log.
void addPsGroup(CLI::App& app);
/// Adds the commands that only the virtual device has; adds nothing on the device.
void addDeviceGroup(CLI::App& app);
/// Adds `completion`, and what shells and the build call: `complete` and `manual`.
void addShellGroup(CLI::App& app, const std::string& version);
void addUnitGroup(CLI::App& app);
/// Adds `report`.
void addReportGroup(CLI::App& app);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_H_
